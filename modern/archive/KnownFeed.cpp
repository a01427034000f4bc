#include "modern/archive/KnownFeed.h"

#include <optional>

#include "modern/archive/ItemRows.h"
#include "modern/web/WebAddress.h"
#include "platform/CodePage.h"
#include "records/FeedObjectAccess.h"

namespace quillmoria {
namespace {

constexpr char kFindFeed[] =
    "SELECT id, has_document, validated_url, entity_tag, last_modified, body_hash, last_pull, format, update_minutes, "
    "skip_hours, skip_days, fresh_for, moved_to, moved_failures, failures, answered_failures, last_asked, "
    "last_success, next_due, is_gone FROM addresses JOIN feeds ON feeds.id = addresses.feed WHERE addresses.url = ?";

// A feed that was removed, but for its starred items, may have the address still.
constexpr char kKeepFacts[] =
    "UPDATE feeds SET url = CASE WHEN EXISTS(SELECT 1 FROM feeds AS other WHERE other.url = ?1 AND other.id <> "
    "feeds.id) "
    "THEN url ELSE ?1 END, name = ?, category = ?, last_outcome = ?, last_status = ?, has_document = ?, "
    "validated_url = ?, entity_tag = ?, last_modified = ?, body_hash = ?, last_pull = ?, format = ?, "
    "update_minutes = ?, skip_hours = ?, skip_days = ?, fresh_for = ?, moved_to = ?, moved_failures = ?, failures = ?, "
    "answered_failures = ?, last_asked = ?, last_success = ?, next_due = ?, is_gone = ? WHERE id = ?";

constexpr char kKeepChannel[] =
    "UPDATE feeds SET title = ?, description = ?, link = ?, language = ?, date = ?, update_base = ?, "
    "update_period = ?, update_frequency = ?, image_title = ?, image_url = ?, image_link = ?, image_description = ?, "
    "image_width = ?, image_height = ?, site_url = ?, icon_url = ?, categories = ?, authors = ?, rights = ?, "
    "generator = ?, hub_url = ? WHERE id = ?";

constexpr char kReadChannel[] =
    "SELECT title, description, link, language, date, update_base, update_period, update_frequency, image_title, "
    "image_url, image_link, image_description, image_width, image_height, site_url, icon_url, categories, authors, "
    "rights, generator, hub_url, format FROM feeds WHERE id = ?";

/// Reads the columns of a row one after another.
class Columns {
 public:
  explicit Columns(const Rows& row) : row_(row) {}

  void read(bool& value) { value = row_.integer(next_++) != 0; }
  void read(CTime& value) { value = row_.moment(next_++); }
  void read(std::string& value) { value = row_.text(next_++); }
  void read(std::vector<std::string>& value) { value = listOf(row_.text(next_++)); }
  template <class Integer>
  void read(Integer& value) {
    value = static_cast<Integer>(row_.integer(next_++));
  }

  template <class... Values>
  void readAll(Values&... values) {
    (read(values), ...);
  }

 private:
  const Rows& row_;
  int next_ = 0;
};

/// The address as it may be written: that of one without a scheme begins with slashes.
std::string_view urlOf(std::string_view key) {
  if (key.starts_with("//")) key.remove_prefix(2);
  return key;
}

}  // namespace

KnownFeed readKnownFeed(Database& archive, std::string_view key) {
  KnownFeed feed;
  Rows row = archive.rows(kFindFeed, key);
  if (!row.next()) return feed;
  FeedFacts& facts = feed.facts;
  Columns(row).readAll(feed.id, facts.hasDocument, facts.validators.url, facts.validators.entityTag,
                       facts.validators.lastModified, facts.bodyHash, facts.pull, facts.format, facts.rules.minutes,
                       facts.rules.skipHours, facts.rules.skipDays, facts.freshFor, facts.movedTo, facts.movedFailures,
                       facts.failures, facts.answeredFailures, facts.lastAsked, facts.lastSuccess, facts.nextDue,
                       facts.isGone);
  return feed;
}

/// A feed that the archive was told to forget leaves its row where it leaves items.
std::int64_t makeFeed(Database& archive, const std::string& key) {
  const std::int64_t id = archive.integer(
      "INSERT INTO feeds(url, name, category) VALUES(?, '', '') ON CONFLICT(url) DO UPDATE SET name = name RETURNING "
      "id",
      urlOf(key));
  archive.run("INSERT INTO addresses(url, feed) VALUES(?, ?)", key, id);
  return id;
}

void keepFacts(Database& archive, std::int64_t id, const std::string& key, const FeedFacts& facts, RSSObject& news) {
  const auto number = [](auto value) { return static_cast<std::int64_t>(value); };
  archive.run(kKeepFacts, urlOf(key), news.channel.feedName, news.category,
              number(FeedObjectAccess::details(news)->outcome), news.statusMessage, number(facts.hasDocument),
              facts.validators.url, facts.validators.entityTag, facts.validators.lastModified, facts.bodyHash,
              facts.pull, facts.format, number(facts.rules.minutes), number(facts.rules.skipHours),
              number(facts.rules.skipDays), facts.freshFor, facts.movedTo, number(facts.movedFailures),
              number(facts.failures), number(facts.answeredFailures), facts.lastAsked, facts.lastSuccess, facts.nextDue,
              number(facts.isGone), id);
}

void addAddress(Database& archive, std::int64_t id, const std::string& url) {
  const std::optional<WebAddress> address = WebAddress::parse(url);
  if (address) archive.run("INSERT OR IGNORE INTO addresses(url, feed) VALUES(?, ?)", address->key(), id);
}

void keepChannel(Database& archive, std::int64_t id, RSSObject& news) {
  const RSSObject::ChannelStruct& channel = news.channel;
  const RSSObject::ImageStruct& image = channel.image;
  const FeedDetails& details = *FeedObjectAccess::details(news);
  const std::string categories = linesOf(details.categories);
  const std::string authors = linesOf(details.authors);
  archive.run(kKeepChannel, channel.title, channel.description, channel.link, channel.language, channel.date,
              channel.updateBase, channel.updatePeriod, std::int64_t{channel.updateFrequency}, image.title, image.url,
              image.link, image.description, std::int64_t{image.width}, std::int64_t{image.height}, details.siteUrl,
              details.iconUrl, categories, authors, details.rights, details.generator, details.hubUrl, id);
}

void readChannel(Database& archive, std::int64_t id, RSSObject& news) {
  RSSObject::ChannelStruct& channel = news.channel;
  RSSObject::ImageStruct& image = channel.image;
  FeedDetails& details = *FeedObjectAccess::details(news);
  Rows row = archive.rows(kReadChannel, id);
  if (!row.next()) return;
  Columns(row).readAll(channel.title, channel.description, channel.link, channel.language, channel.date,
                       channel.updateBase, channel.updatePeriod, channel.updateFrequency, image.title, image.url,
                       image.link, image.description, image.width, image.height, details.siteUrl, details.iconUrl,
                       details.categories, details.authors, details.rights, details.generator, details.hubUrl,
                       details.format);
  channel.titleW = utf8ToWide(channel.title);
  channel.descriptionW = utf8ToWide(channel.description);
}

}  // namespace quillmoria
