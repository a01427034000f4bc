#include "modern/reading/Records.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "modern/html/Html.h"
#include "modern/reading/Values.h"
#include "platform/CodePage.h"
#include "platform/Url.h"
#include "quillmoria/NewsDetails.h"
#include "records/FeedObjectAccess.h"

namespace quillmoria {
namespace {

constexpr std::size_t kTitleBytes = 100;  ///< that a title made of the text has at most

/// Addresses of other schemes are for nobody to follow.
constexpr std::string_view kSchemes[] = {"http", "https", "ftp",    "ftps",   "mailto", "magnet", "news",
                                         "nntp", "feed",  "gopher", "gemini", "irc",    "ircs",   "rtsp"};

bool isWebAddress(std::string_view address) {
  const std::string scheme = schemeOf(address);
  return scheme == "http" || scheme == "https";
}

/// Whether `address` is absolute already, and written as it should be: nearly all are.
bool isPlainWebAddress(std::string_view address) {
  return (address.starts_with("https://") || address.starts_with("http://")) &&
         std::ranges::all_of(address, [](char c) { return c > ' ' && c < '\x7f'; });
}

/// What a reader sees of `text`.
std::string plain(const Text& text) {
  std::string shown;
  const auto has = [&text](char sign) { return text.text.find(sign) != std::string::npos; };
  const bool isMarkup = text.kind == TextKind::Html && (!has('<') || has('>'));  // else no tag ends
  if (isMarkup || text.text.find_first_of("<&") == std::string::npos) {
    appendPlainText(shown, text.text);
    return shown;
  }
  // Characters, but with references where the feed has escaped them twice.
  std::string escaped;
  for (const char c : text.text) {
    if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else {
      escaped += c;
    }
  }
  appendPlainText(shown, escaped);
  return shown;
}

/// What a reader sees of a name or a word, which is markup only where it looks like it.
std::string plainOf(std::string text) {
  const bool isMarkup = text.find("</") != std::string::npos;
  return plain({std::move(text), isMarkup ? TextKind::Html : TextKind::Plain});
}

/// The beginning of `text`, up to the end of a word if there is one.
std::string beginningOf(const std::string& text) {
  if (text.size() <= kTitleBytes) return text;
  constexpr std::string_view kEllipsis = "\xE2\x80\xA6";
  std::size_t end = text.rfind(' ', kTitleBytes - kEllipsis.size());
  if (end == std::string::npos || end < kTitleBytes / 2) {
    end = kTitleBytes - kEllipsis.size();
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  }
  return text.substr(0, end).append(kEllipsis);
}

/// The texts that `read` makes of `texts`, each once, in their order.
std::vector<std::string> eachOnce(std::vector<std::string>& texts, auto read) {
  std::vector<std::string> kept;
  kept.reserve(texts.size());
  std::unordered_set<std::string_view> known;
  for (std::string& text : texts) {
    std::string one = read(std::move(text));
    if (one.empty()) continue;
    constexpr std::size_t kFew = 16;
    if (kept.size() == kFew) known.insert(kept.begin(), kept.end());
    if (kept.size() < kFew ? std::ranges::find(kept, one) != kept.end() : known.contains(one)) continue;
    kept.push_back(std::move(one));
    if (kept.size() > kFew) known.insert(kept.back());
  }
  return kept;
}

std::vector<std::string> names(std::vector<std::string>& persons) {
  return eachOnce(persons, [](std::string person) {
    if (person.find("</") != std::string::npos) person = plainOf(std::move(person));
    return plainOf(std::string(personName(person)));
  });
}

std::vector<std::string> plainTexts(std::vector<std::string>& texts) { return eachOnce(texts, plainOf); }

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) (all += all.empty() ? "" : ", ") += text;
  return all;
}

class Mapper {
 public:
  Mapper(Document document, std::string_view url) : document_(std::move(document)), url_(url), address_(url) {}

  std::unique_ptr<RSSObject> run() {
    mapChannel();
    const std::size_t count = document_.entries.size();
    auto items = std::make_unique<RSSObject::NewsItemStruct[]>(count);
    details_->items.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      mapEntry(document_.entries.front(), items[i], details_->items[i]);
      document_.entries.pop_front();
    }
    auto news = std::make_unique<RSSObject>(std::move(channel_), nullptr, static_cast<std::int32_t>(count));
    news->items = items.release();
    news->statusMessage = kStatusOk;
    FeedObjectAccess::setDetails(*news, std::move(details_));
    return news;
  }

 private:
  void mapChannel();
  void mapPicture();
  void mapEntry(Entry& entry, RSSObject::NewsItemStruct& item, ItemDetails& details);
  void mapTexts(Entry& entry, RSSObject::NewsItemStruct& item, ItemDetails& details);
  void mapMedia(Entry& entry, ItemDetails& details);
  std::string linkOf(const Entry& entry);
  std::vector<std::string> authorsOf(Entry& entry);
  std::string_view base(Base number, std::string_view other) const;
  std::string absolute(const Address& address);
  std::string webAddress(const Address& address);
  std::string safe(const Text& text, std::string_view link);
  void spend(std::size_t bytes) { spare_ -= std::min(spare_, bytes); }

  Document document_;
  const std::string_view url_;
  std::string address_;                    ///< what addresses without a base are resolved against
  std::size_t spare_ = kMaxResolvedBytes;  ///< for what entries take from elsewhere: a base, the feed's authors
  RSSObject::ChannelStruct channel_;
  std::shared_ptr<FeedDetails> details_ = std::make_shared<FeedDetails>();
};

void Mapper::mapChannel() {
  Channel& from = document_.channel;
  FeedDetails& details = *details_;
  details.format = std::move(document_.format);
  details.wasRepaired = document_.wasRepaired;
  details.finalUrl = url_;
  channel_.link = absolute(from.link);
  // A feed that is served for another site, or from a file, has that site's addresses.
  const auto site = WebUrl::parse(channel_.link);
  const auto served = WebUrl::parse(url_);
  if (site && (!served || site->host != served->host)) address_ = channel_.link;

  details.siteUrl = channel_.link;
  details.categories = plainTexts(from.categories);
  details.authors = names(from.authors);
  details.rights = plain(from.rights);
  details.generator = plain(from.generator);
  details.hubUrl = webAddress(from.hub);
  channel_.title = plain(from.title);
  channel_.titleW = utf8ToWide(channel_.title);
  channel_.description = plain(from.description);
  channel_.descriptionW = utf8ToWide(channel_.description);
  channel_.language = plainOf(from.language);
  channel_.date = from.published != CTime() ? from.published : from.updated;
  channel_.updateBase = from.updateBase;
  channel_.updatePeriod = plainOf(from.updatePeriod);
  channel_.updateFrequency = from.updateFrequency;
  mapPicture();
  details.iconUrl = channel_.image.url;
}

void Mapper::mapPicture() {
  const Picture& from = document_.channel.picture;
  RSSObject::ImageStruct& image = channel_.image;
  image.url = webAddress(from.url);
  image.title = plain(from.title);
  image.link = absolute(from.link);
  image.description = plain(from.description);
  if (from.width > 0) image.width = from.width;
  if (from.height > 0) image.height = from.height;
}

void Mapper::mapEntry(Entry& entry, RSSObject::NewsItemStruct& item, ItemDetails& details) {
  item.link = linkOf(entry);
  mapTexts(entry, item, details);
  details.authors = authorsOf(entry);
  item.creatorW = utf8ToWide(joined(details.authors));
  item.guidW = utf8ToWide(entry.id);
  item.isPermaLink = entry.isPermaLink;
  item.date = entry.published != CTime() ? entry.published : entry.updated;
  details.published = entry.published;
  details.updated = entry.updated;
  details.categories = plainTexts(entry.categories);
  mapMedia(entry, details);
  details.commentsUrl = absolute(entry.comments);
  details.imageUrl = webAddress(entry.image);
  details.sourceTitle = plain(entry.source.title);
  details.sourceUrl = absolute(entry.source.url);
  details.language = plainOf(std::move(entry.language));
  if (details.language.empty() && spare_ > 0) spend((details.language = channel_.language).size());
}

/// The full text stands for the summary and the other way round; each is made safe once.
void Mapper::mapTexts(Entry& entry, RSSObject::NewsItemStruct& item, ItemDetails& details) {
  const std::string_view link = isWebAddress(item.link) ? std::string_view(item.link) : std::string_view(address_);
  std::string summary = safe(entry.summary, link);
  details.summaryW = utf8ToWide(summary);
  item.description = safe(entry.content, link);
  details.contentW = utf8ToWide(item.description);
  if (item.description.empty()) {
    item.description = std::move(summary);
    item.descriptionW = details.summaryW;
  } else {
    item.descriptionW = details.contentW;
  }
  item.title = plain(entry.title);
  if (item.title.empty() && !item.description.empty()) {
    std::string text;
    appendPlainText(text, item.description);
    item.title = beginningOf(text);
  }
  item.titleW = utf8ToWide(item.title);
}

void Mapper::mapMedia(Entry& entry, ItemDetails& details) {
  std::unordered_map<std::string, std::size_t> known;
  details.enclosures.reserve(entry.media.size());
  for (Media& media : entry.media) {
    Enclosure enclosure;
    enclosure.url = absolute(media.url);
    if (enclosure.url.empty()) continue;
    enclosure.type = plainOf(std::move(media.type));
    enclosure.length = media.length;
    enclosure.title = plain(media.title);
    enclosure.durationSeconds = media.durationSeconds;
    const auto [place, isNew] = known.try_emplace(enclosure.url, details.enclosures.size());
    if (isNew) {
      details.enclosures.push_back(std::move(enclosure));
      continue;
    }
    Enclosure& same = details.enclosures[place->second];
    if (same.type.empty()) same.type = std::move(enclosure.type);
    if (same.title.empty()) same.title = std::move(enclosure.title);
    if (same.length < 0) same.length = enclosure.length;
    if (same.durationSeconds < 0) same.durationSeconds = enclosure.durationSeconds;
  }
  if (!details.enclosures.empty() && details.enclosures.front().durationSeconds < 0) {
    details.enclosures.front().durationSeconds = entry.durationSeconds;
  }
}

std::string Mapper::linkOf(const Entry& entry) {
  std::string link = absolute(entry.link);
  if (link.empty() && entry.isPermaLink && isWebAddress(entry.id)) link = absolute({entry.id, 0});
  for (const Media& media : entry.media) {
    if (!link.empty()) return link;
    if (isSameWord(std::string_view(media.type).substr(0, 5), "text/")) link = absolute(media.url);
  }
  if (link.empty() && entry.mayBeLink && isWebAddress(entry.id)) link = absolute({entry.id, 0});
  return link;
}

std::vector<std::string> Mapper::authorsOf(Entry& entry) {
  std::vector<std::string> authors = names(entry.authors);
  if (authors.empty()) authors = names(entry.source.authors);
  if (!authors.empty() || spare_ == 0) return authors;
  for (const std::string& author : details_->authors) spend(sizeof(author) + author.size());
  return details_->authors;
}

std::string_view Mapper::base(Base number, std::string_view other) const {
  if (spare_ == 0) return {};
  return number > 0 ? std::string_view(document_.bases[number]) : other;
}

/// Empty for what nobody can follow.
std::string Mapper::absolute(const Address& address) {
  if (address.text.empty() || isPlainWebAddress(address.text)) return address.text;
  std::string url = absoluteUrl(address.text, base(address.base, address_));
  spend(url.size());
  const bool isKnown = std::ranges::find(kSchemes, schemeOf(url)) != std::end(kSchemes);
  return isKnown ? url : std::string();
}

std::string Mapper::webAddress(const Address& address) {
  std::string url = absolute(address);
  return isWebAddress(url) ? url : std::string();
}

std::string Mapper::safe(const Text& text, std::string_view link) {
  if (text.text.empty()) return {};
  if (text.kind == TextKind::Plain) return htmlOfText(text.text);
  std::string html;
  appendSafeHtml(html, text.text, base(text.base, link), spare_);
  return html;
}

}  // namespace

std::unique_ptr<RSSObject> makeRecords(Document document, std::string_view url) {
  return Mapper(std::move(document), url).run();
}

}  // namespace quillmoria
