#include "ItemFilter.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string_view>

#include "Archive.h"
#include "Failure.h"
#include "Since.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// What stands for an address however it is typed: without scheme, user name and last slash.
std::string addressKey(const std::string& url) {
  std::string key = shownAddress(url);
  if (hasScheme(key)) key.erase(0, key.find("://") + 3);
  if (key.ends_with('/')) key.pop_back();
  return key;
}

bool isCalled(const ArchivedFeed& feed, const std::string& typed) {
  if (feed.name == typed) return true;
  const std::string key = addressKey(typed);
  return addressKey(feed.url) == key || (!feed.movedTo.empty() && addressKey(feed.movedTo) == key);
}

void addFeeds(const std::string& typed, const std::vector<ArchivedFeed>& known, ItemQuery& query) {
  const std::size_t before = query.feeds.size();
  for (const ArchivedFeed& feed : known) {
    if (isCalled(feed, typed)) query.feeds.push_back(feed.id);
  }
  if (query.feeds.size() > before) return;
  throw Failure(kWrongUse, "there is no feed " + shownAddress(typed) +
                               " in the archive: give the name or the address of one that has been pulled");
}

void addCategories(const std::string& typed, const std::vector<ArchivedFeed>& known, ItemQuery& query) {
  const std::size_t before = query.categories.size();
  for (const ArchivedFeed& feed : known) {
    const bool isWithin = feed.category == typed || feed.category.starts_with(typed + " / ");
    if (isWithin && std::ranges::find(query.categories, feed.category) == query.categories.end()) {
      query.categories.push_back(feed.category);
    }
  }
  if (query.categories.size() > before) return;
  throw Failure(kWrongUse, "there is no category " + typed + " in the archive: those within others are \"C / D\"");
}

}  // namespace

void addPlaceOptions(CLI::App& command, ItemFilter& filter) {
  command.add_option("--feed", filter.feeds, "Only of the feed of that name or address; may be repeated")
      ->type_name("N")
      ->allow_extra_args(false);
  command.add_option("--category", filter.categories, "Only of that category and those below it; may be repeated")
      ->type_name("C")
      ->allow_extra_args(false);
}

void addFilterOptions(CLI::App& command, ItemFilter& filter) {
  command.add_flag("--unread", filter.onlyUnread, "Only what has not been read");
  command.add_flag("--starred", filter.onlyStarred, "Only what has a star");
  addPlaceOptions(command, filter);
  command.add_option("--since", filter.since, "Only from then on: 30m, 12h, 2d, 3w ago, or a date as 2026-11-23")
      ->type_name("T");
}

ItemQuery queryOf(const ItemFilter& filter, NewsArchive& archive) {
  ItemQuery query;
  query.onlyUnread = filter.onlyUnread;
  query.onlyStarred = filter.onlyStarred;
  if (!filter.since.empty()) {
    const std::optional<CTime> moment = sinceMoment(filter.since, CTime::GetCurrentTime());
    if (!moment) {
      throw Failure(kWrongUse, "--since " + filter.since + " is no time: 30m, 12h, 2d, 3w or a date as 2026-11-23");
    }
    query.since = *moment;
  }
  if (filter.feeds.empty() && filter.categories.empty()) return query;
  const std::vector<ArchivedFeed> known = archive.Feeds();
  if (known.empty()) throw Failure(kWrongUse, kUnfilledAdvice);
  for (const std::string& feed : filter.feeds) addFeeds(feed, known, query);
  for (const std::string& category : filter.categories) addCategories(category, known, query);
  return query;
}

}  // namespace quillmoria
