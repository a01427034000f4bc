#include "modern/reading/JsonFeedReader.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "modern/reading/Dates.h"
#include "modern/reading/Values.h"
#include "xml/TextBudget.h"

namespace quillmoria {
namespace {

/// What a value stands in. From Item on it belongs to an item.
enum class Context : std::uint8_t {
  Document,
  Feed,
  Authors,
  Author,
  Hubs,
  Hub,
  Items,
  Ignored,
  Item,
  ItemAuthors,
  ItemAuthor,
  Attachments,
  Attachment,
  Tags,
};

enum class Field : std::uint8_t {
  None,
  Version,
  Title,
  Description,
  Link,
  ExternalLink,
  Picture,
  Icon,
  Language,
  Id,
  Html,
  PlainText,
  Summary,
  Image,
  Banner,
  Published,
  Modified,
  Name,
  HubUrl,
  Tag,
  MediaUrl,
  MediaType,
  MediaTitle,
  MediaLength,
  MediaDuration,
};

/// What the member `key`, or of a list each of its values, is: a text or a number, and what an object or a list in it
/// stands for.
struct Member {
  Context context;
  std::string_view key;
  Field field;
  Context inside = Context::Ignored;
};

constexpr Member kMembers[] = {
    {Context::Document, "", Field::None, Context::Feed},
    {Context::Feed, "version", Field::Version},
    {Context::Feed, "title", Field::Title},
    {Context::Feed, "home_page_url", Field::Link},
    {Context::Feed, "description", Field::Description},
    {Context::Feed, "icon", Field::Picture},
    {Context::Feed, "favicon", Field::Icon},
    {Context::Feed, "language", Field::Language},
    {Context::Feed, "author", Field::Name, Context::Author},
    {Context::Feed, "authors", Field::None, Context::Authors},
    {Context::Feed, "hubs", Field::None, Context::Hubs},
    {Context::Feed, "items", Field::None, Context::Items},
    {Context::Authors, "", Field::Name, Context::Author},
    {Context::Author, "name", Field::Name},
    {Context::Hubs, "", Field::None, Context::Hub},
    {Context::Hub, "url", Field::HubUrl},
    {Context::Items, "", Field::None, Context::Item},
    {Context::Item, "id", Field::Id},
    {Context::Item, "url", Field::Link},
    {Context::Item, "external_url", Field::ExternalLink},
    {Context::Item, "title", Field::Title},
    {Context::Item, "content_html", Field::Html},
    {Context::Item, "content_text", Field::PlainText},
    {Context::Item, "summary", Field::Summary},
    {Context::Item, "image", Field::Image},
    {Context::Item, "banner_image", Field::Banner},
    {Context::Item, "date_published", Field::Published},
    {Context::Item, "date_modified", Field::Modified},
    {Context::Item, "language", Field::Language},
    {Context::Item, "author", Field::Name, Context::ItemAuthor},
    {Context::Item, "authors", Field::None, Context::ItemAuthors},
    {Context::Item, "tags", Field::Tag, Context::Tags},
    {Context::Item, "attachments", Field::None, Context::Attachments},
    {Context::ItemAuthors, "", Field::Name, Context::ItemAuthor},
    {Context::ItemAuthor, "name", Field::Name},
    {Context::Tags, "", Field::Tag},
    {Context::Attachments, "", Field::None, Context::Attachment},
    {Context::Attachment, "url", Field::MediaUrl},
    {Context::Attachment, "mime_type", Field::MediaType},
    {Context::Attachment, "title", Field::MediaTitle},
    {Context::Attachment, "size_in_bytes", Field::MediaLength},
    {Context::Attachment, "duration_in_seconds", Field::MediaDuration},
};

/// What the JSON parser calls; false ends it.
class Reader final : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit Reader(Document& document) : document_(document) { open_.push_back({Context::Document, false}); }

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t number) override { return value(std::to_string(number), number); }
  bool number_unsigned(number_unsigned_t number) override {
    return value(std::to_string(number), static_cast<std::int64_t>(std::min<number_unsigned_t>(number, INT64_MAX)));
  }
  bool number_float(number_float_t number, const string_t& text) override {
    constexpr double kMax = 1e15;
    return value(text, number >= 0 && number < kMax ? static_cast<std::int64_t>(number) : -1);
  }
  bool string(string_t& text) override { return value(text, countIn(text)); }
  bool binary(binary_t&) override { return true; }

  bool start_object(std::size_t) override {
    begin(true);
    return true;
  }
  bool key(string_t& name) override {
    if (open_.back().context != Context::Ignored) member_ = memberOf(open_.back().context, name);
    return true;
  }
  bool end_object() override { return end(); }
  bool start_array(std::size_t) override {
    begin(false);
    return true;
  }
  bool end_array() override { return end(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    document_.wasRepaired = isBroken_ = true;
    return false;
  }

  /// Whether the text is no JSON.
  bool isBroken() const { return isBroken_; }

  /// "JSON Feed 1.1" for the version "https://jsonfeed.org/version/1.1".
  void finish() {
    constexpr std::string_view kVersion = "jsonfeed.org/version/";
    const std::size_t at = version_.find(kVersion);
    if (at == std::string::npos) return;
    const std::string number = version_.substr(at + kVersion.size());
    if (number == "1" || number == "1.0") {
      document_.format = "JSON Feed 1.0";
    } else {
      document_.format = number == "1.1" ? "JSON Feed 1.1" : "JSON Feed";
    }
  }

 private:
  struct Frame {
    Context context;
    bool isObject;
  };

  static Member memberOf(Context context, std::string_view key) {
    for (const Member& member : kMembers) {
      if (member.context == context && member.key == key) return member;
    }
    return {Context::Ignored, "", Field::None};
  }

  /// What a value that comes now is.
  Member current() const {
    const Frame& frame = open_.back();
    return frame.isObject ? member_ : memberOf(frame.context, "");
  }

  void begin(bool isObject) {
    Context inside = open_.back().context == Context::Ignored ? Context::Ignored : current().inside;
    // One object where a list of them is expected, and the other way round, mean something else.
    if (isObject != (memberOf(inside, "").context == Context::Ignored) && inside != Context::Ignored) {
      inside = Context::Ignored;
    }
    open_.push_back({inside, isObject});
    member_ = {Context::Ignored, "", Field::None};
    if (inside == Context::Items) document_.format = "JSON Feed";
    if (inside == Context::Item) beginItem();
    if (inside == Context::Attachment) beginAttachment();
  }

  bool end() {
    if (open_.back().context == Context::Item) document_.entries.push_back(std::move(item_));
    open_.pop_back();
    member_ = {Context::Ignored, "", Field::None};
    return true;
  }

  void beginItem() {
    budget_.take(kEntryAllowance);
    item_ = Entry();
    hasImage_ = hasLink_ = hasHtml_ = false;
  }

  void beginAttachment() {
    isAttachmentKept_ = item_.media.size() < kMaxListed;
    if (!isAttachmentKept_) return;
    budget_.take(kMediaAllowance);
    item_.media.emplace_back();
  }

  bool value(std::string_view text, std::int64_t number) {
    const Context context = open_.back().context;
    if (context == Context::Ignored) return true;
    const Field field = current().field;
    if (field == Field::None || trimmed(text).empty()) return true;
    budget_.take(text.size());
    if (context >= Context::Item) {
      keepOfItem(field, text, number);
    } else {
      keepOfFeed(field, text);
    }
    return true;
  }

  void keepOfFeed(Field field, std::string_view text) {
    Channel& channel = document_.channel;
    switch (field) {
      case Field::Version:
        version_ = text;
        break;
      case Field::Title:
        channel.title = {std::string(text)};
        break;
      case Field::Description:
        channel.description = {std::string(text)};
        break;
      case Field::Link:
        channel.link = {std::string(text)};
        break;
      case Field::Picture:
        channel.picture.url = {std::string(text)};
        hasPicture_ = true;
        break;
      case Field::Icon:
        if (!hasPicture_) channel.picture.url = {std::string(text)};
        break;
      case Field::Language:
        channel.language = text;
        break;
      case Field::Name:
        keepIn(channel.authors, text);
        break;
      case Field::HubUrl:
        if (channel.hub.text.empty()) channel.hub = {std::string(text)};
        break;
      default:
        break;
    }
  }

  void keepOfItem(Field field, std::string_view text, std::int64_t number) {
    switch (field) {
      case Field::Id:
        item_.id = text;
        item_.mayBeLink = true;
        break;
      case Field::Link:
        item_.link = {std::string(text)};
        hasLink_ = true;
        break;
      case Field::ExternalLink:
        if (!hasLink_) item_.link = {std::string(text)};
        break;
      case Field::Title:
        item_.title = {std::string(text)};
        break;
      case Field::Html:
        item_.content = {std::string(text), TextKind::Html};
        hasHtml_ = true;
        break;
      case Field::PlainText:
        if (!hasHtml_) item_.content = {std::string(text)};
        break;
      case Field::Summary:
        item_.summary = {std::string(text)};
        break;
      case Field::Image:
        item_.image = {std::string(text)};
        hasImage_ = true;
        break;
      case Field::Banner:
        if (!hasImage_) item_.image = {std::string(text)};
        break;
      case Field::Published:
        item_.published = readDate(text);
        break;
      case Field::Modified:
        item_.updated = readDate(text);
        break;
      case Field::Language:
        item_.language = text;
        break;
      case Field::Name:
        keepIn(item_.authors, text);
        break;
      case Field::Tag:
        keepIn(item_.categories, text);
        break;
      default:
        if (isAttachmentKept_ && open_.back().context == Context::Attachment) {
          keepOfMedia(item_.media.back(), field, text, number);
        }
    }
  }

  static void keepOfMedia(Media& media, Field field, std::string_view text, std::int64_t number) {
    switch (field) {
      case Field::MediaUrl:
        media.url = {std::string(text)};
        break;
      case Field::MediaType:
        media.type = text;
        break;
      case Field::MediaTitle:
        media.title = {std::string(text)};
        break;
      case Field::MediaLength:
        media.length = number;
        break;
      case Field::MediaDuration:
        media.durationSeconds = number;
        break;
      default:
        break;
    }
  }

  void keepIn(std::vector<std::string>& list, std::string_view text) {
    if (list.size() == kMaxListed) return;
    budget_.take(kListedAllowance);
    list.emplace_back(text);
  }

  Document& document_;
  TextBudget budget_;
  std::vector<Frame> open_;
  Member member_{Context::Ignored, "", Field::None};
  std::string version_;
  bool isBroken_ = false;
  Entry item_;
  bool hasPicture_ = false;
  bool hasImage_ = false;
  bool hasLink_ = false;
  bool hasHtml_ = false;
  bool isAttachmentKept_ = false;
};

/// The unit of UTF-16 that the escape "\\uXXXX" which `text` begins with stands for; none if it begins with none.
std::optional<unsigned> escapedUnit(std::string_view text) {
  constexpr std::size_t kBytes = 6;
  if (text.size() < kBytes || !text.starts_with("\\u")) return std::nullopt;
  unsigned unit = 0;
  const char* const end = text.data() + kBytes;
  return std::from_chars(text.data() + 2, end, unit, 16).ptr == end ? std::optional(unit) : std::nullopt;
}

/// Moves the escape that `text`, a part of a string, begins with to `mended`. Of one that JSON does not know the
/// backslash goes, as JavaScript has it.
void moveEscape(std::string_view& text, std::string& mended) {
  const auto moveBytes = [&](std::size_t count) {
    mended += text.substr(0, count);
    text.remove_prefix(count);
  };
  const std::optional<unsigned> unit = escapedUnit(text);
  if (unit && (*unit & 0xF800) != 0xD800) return moveBytes(6);
  if (unit) {
    const std::optional<unsigned> next = escapedUnit(text.substr(6));
    if ((*unit & 0xFC00) == 0xD800 && next && (*next & 0xFC00) == 0xDC00) return moveBytes(12);
    mended += "\\uFFFD";
    return text.remove_prefix(6);
  }
  if (text.size() > 1 && std::string_view("\"\\/bfnrt").find(text[1]) != std::string_view::npos) return moveBytes(2);
  text.remove_prefix(1);
}

/// Whether a list or an object ends where `text` begins.
bool isEndNext(std::string_view text) {
  const std::size_t at = text.find_first_not_of(" \t\r\n");
  return at != std::string_view::npos && (text[at] == ']' || text[at] == '}');
}

/// `text` with the control characters of its strings escaped, without escapes that are none and commas that nothing
/// follows.
std::string mendedJson(std::string_view text) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string mended;
  mended.reserve(text.size() + text.size() / 16);
  bool isInString = false;
  while (!text.empty()) {
    const char c = text.front();
    if (isInString && c == '\\') {
      moveEscape(text, mended);
      continue;
    }
    text.remove_prefix(1);
    if (c == '"') isInString = !isInString;
    if (isInString && c >= 0 && c < ' ') {
      ((mended += c < 0x10 ? "\\u000" : "\\u001") += kHex[c & 0xF]);
    } else if (isInString || c != ',' || !isEndNext(text)) {
      mended += c;
    }
  }
  return mended;
}

/// False for what is no JSON.
bool parse(std::string_view text, Document& document) {
  document = Document();
  document.bases.emplace_back();
  Reader reader(document);
  try {
    nlohmann::json::sax_parse(text.begin(), text.end(), &reader, nlohmann::json::input_format_t::json, false);
  } catch (const KeptTextExceeded&) {
    document.wasRepaired = true;
  }
  reader.finish();
  return !reader.isBroken();
}

}  // namespace

void readJsonFeed(std::string_view text, Document& document) {
  if (parse(text, document)) return;
  const std::string mended = mendedJson(text);
  if (mended != text) parse(mended, document);
  document.wasRepaired = true;
}

}  // namespace quillmoria
