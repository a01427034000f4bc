#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// The fields of an address or a form, decoded.
using Fields = std::multimap<std::string, std::string>;

/// The fields of the part of an address behind its "?", or of a form's body in the same form.
Fields fieldsFrom(std::string_view query);

/// The first field called so; empty if there is none.
std::string fieldOf(const Fields& fields, const std::string& name);

/// A number of digits alone in the first field called so; 0 for anything else.
std::int64_t numberOf(const Fields& fields, const std::string& name);

/// What the third pane shows.
enum class Aside {
  Article,     ///< the item, or what to do where none is chosen
  Add,         ///< the ways to subscribe: an address, a list, the samples
  Subscribed,  ///< one subscription: its state, name, category, and how to end it
  Refresh,     ///< the pull under way or the last one, feed by feed
  Help,        ///< keys and settings
  Feeds,       ///< nothing: a narrow screen shows the list of the feeds
};

/// What a page shows. A page's address is a view and nothing else, so that every state can be gone back to, opened
/// twice and reached without a script.
struct View {
  std::int64_t feed = 0;            ///< items of that feed (ArchivedFeed::id); 0: of any
  std::string category;             ///< items of that category and those below it; empty: of any
  bool onlyUnread = false;          ///< and of those only unread ones
  bool onlyStarred = false;         ///< or starred ones
  std::string words;                ///< that are searched for (ItemQuery::words); empty: none
  std::int64_t before = INT64_MAX;  ///< continues the list (ItemQuery::before)
  std::int64_t item = 0;            ///< ArchivedItem::details.id of the one shown; 0: none
  Aside aside = Aside::Article;
  std::string address;      ///< of the feed that Aside::Subscribed shows; of a page with Aside::Add
  std::int64_t notice = 0;  ///< Notices: what is to be said; 0: nothing
};

/// The view that fields ask for; whatever they hold, it is one. Fields: feed, category, unread=1, starred=1, q, before,
/// item, aside=add|feed|help|feeds, address, notice.
View viewOf(const Fields& fields);

/// As viewOf, of the part of an address behind its "?".
View viewFrom(std::string_view query);

/// `text` as the value of a field in an address.
std::string fieldValue(std::string_view text);

/// The address of a view, relative to the page: "./?feed=3&item=17".
std::string addressOf(const View& view);

}  // namespace quillmoria
