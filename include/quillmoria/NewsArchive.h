#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "quillmoria/CTime.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"
#include "quillmoria/export.h"

namespace quillmoria {

/// Why the archive could not do what was asked.
enum class ArchiveProblem {
  Locked,    ///< another process has held it for more than five seconds
  Full,      ///< the disk is full; nothing was changed
  NoAccess,  ///< there is no such folder, it is read-only, or the file must not be opened
  Newer,     ///< a newer version of this library has written it
  Damaged,   ///< what is in it is no archive any more: see NewsArchive::Repair
  Failed,    ///< anything else; the text says what
};

/// What the calls of NewsArchive throw, beside std::bad_alloc. Its text is one that a user can read.
class QUILLMORIA_EXPORT ArchiveError : public std::runtime_error {
 public:
  ArchiveError(ArchiveProblem problem, const std::string& text);  ///< Says `text`.
  ArchiveError(const ArchiveError&);                              ///< Copies problem and text.
  ArchiveError& operator=(const ArchiveError&);                   ///< Copies problem and text.
  ~ArchiveError() override;

  ArchiveProblem problem() const { return problem_; }  ///< what kind of trouble it is

 private:
  ArchiveProblem problem_;
};

/// A feed that the archive knows. Texts are UTF-8 and plain, and empty where nothing is known; so are times CTime().
struct ArchivedFeed {
  std::int64_t id = 0;                     ///< the archive's number of the feed, above 0
  std::string url;                         ///< subscribed address, without user name and password
  std::string name;                        ///< as the host calls it (NewsFeed::name)
  std::string category;                    ///< as the host calls it (NewsFeed::category)
  std::string title;                       ///< as the feed calls itself
  std::string description;                 ///< in its own words
  std::string siteUrl;                     ///< the page that it belongs to
  std::string iconUrl;                     ///< its picture
  std::string format;                      ///< as in FeedDetails
  std::string movedTo;                     ///< the address to subscribe to from now on
  Outcome lastOutcome = Outcome::Offline;  ///< of the last pull that asked, or would have; Offline before the first
  std::string lastStatus;                  ///< the text that went with it
  CTime lastAsked;                         ///< when a server was asked last
  CTime lastSuccess;                       ///< when a feed was had last, unchanged ones included
  std::int32_t failures = 0;               ///< how many pulls in a row have failed since
  CTime nextDue;                           ///< when asking again makes sense; no time for a feed that is gone
  std::int64_t itemCount = 0;              ///< items in the archive
  std::int64_t unreadCount = 0;            ///< of them unread
  std::int64_t starredCount = 0;           ///< and starred
};

/// An item of the archive.
struct ArchivedItem {
  std::int64_t feedId = 0;         ///< ArchivedFeed::id
  std::string feedName;            ///< ArchivedFeed::name
  std::string feedUrl;             ///< ArchivedFeed::url
  std::string category;            ///< ArchivedFeed::category
  RSSObject::NewsItemStruct item;  ///< as a pull delivers it, with the status kCachedItem
  ItemDetails details;             ///< likewise; `id` names the item in other calls
  CTime lastSeen;                  ///< when the feed had it last
  bool isRead = false;             ///< marked as read
  bool isStarred = false;          ///< marked with a star
};

/// Which items are wanted. What is left as it is restricts nothing; restrictions hold together.
struct ItemQuery {
  std::vector<std::int64_t> feeds;      ///< of any of these feeds (ArchivedFeed::id)
  std::vector<std::string> categories;  ///< of feeds in any of these categories, as the feeds name them
  bool onlyUnread = false;              ///< not marked as read
  bool onlyStarred = false;             ///< marked with a star
  CTime since;                          ///< from that moment on
  /// What a user types: items that have all of the words, in title, author or text, without regard to letter case and
  /// accents. `word*` stands for all that begin so, with two letters at least, "words in quotes" for words in that
  /// order, `-word` for items without it. Scripts without spaces are searched for whatever stands together. Any text
  /// is allowed, of which the first 64 words and 1,024 bytes count; one without a word that is wanted finds nothing.
  std::optional<std::string> words;
  std::int64_t before = INT64_MAX;  ///< continues a list: ItemPage::next of the page before
  std::int32_t limit = 50;          ///< items in a page, from 1 to 1,000; what is beyond becomes the nearest
  bool withText = false;            ///< whether items come with their texts: `description`, `summaryW`, `contentW`
};

/// A part of a list of items.
struct ItemPage {
  std::vector<ArchivedItem> items;   ///< the newest first
  std::optional<std::int64_t> next;  ///< for ItemQuery::before; nothing at the end of the list
};

/// What may be said of items.
enum class ItemMark { Read, Unread, Starred, Unstarred };

/// Figures of an archive.
struct ArchiveStatistics {
  std::int64_t feeds = 0;    ///< subscribed ones
  std::int64_t items = 0;    ///< of all feeds, removed ones included
  std::int64_t unread = 0;   ///< not marked as read
  std::int64_t starred = 0;  ///< marked with a star
  std::int64_t bytes = 0;    ///< of its files
  CTime oldest;              ///< time of the oldest item; no time if there is none
  CTime newest;              ///< and of the newest
  std::int32_t version = 0;  ///< of its schema
};

/// What is kept of items that have left their feed's document. Unread and starred ones always are.
struct ArchiveRetention {
  std::int32_t itemsPerFeed = 1000;  ///< so many of the newest of a feed; not below 0
  std::int32_t days = 365;           ///< and those that the feed has had within so many days; not below 0
};

/// What a repair has come to.
struct ArchiveRepair {
  std::int64_t feeds = 0;   ///< kept
  std::int64_t items = 0;   ///< kept
  std::string damagedFile;  ///< where the archive lies as it was; empty if it needed no repair
};

class ArchiveReading;

/// The memory of the modern profile: every item that pulls have seen, what was read and starred, and what servers have
/// said. It is the file `archive.sqlite` in the base folder, which pulls fill.
///
///     NewsArchive archive(baseFolder);
///     ItemQuery query;
///     query.onlyUnread = true;
///     for (const ArchivedItem& news : archive.Items(query).items) show(news.feedName, news.item.titleW);
///     archive.MarkItems({{id}}, ItemMark::Read);
///
/// One thread at a time uses an object; there may be any number of objects, also in other processes and while pulls
/// run, and each call sees what the others have finished. A call waits up to five seconds for another process that is
/// writing. Calls throw ArchiveError and std::bad_alloc, and have then changed nothing. Touches no network.
class QUILLMORIA_EXPORT NewsArchive {
 public:
  /// Opens the archive of `baseFolder`, which must exist, and makes one if there is none.
  explicit NewsArchive(const std::string& baseFolder);
  NewsArchive(NewsArchive&&) noexcept;             ///< Takes over the other's access; the other may only be destroyed.
  NewsArchive& operator=(NewsArchive&&) noexcept;  ///< Likewise.
  ~NewsArchive();

  /// All feeds that are subscribed, by category and name, each in the order of their bytes. Takes time in proportion to
  /// the items, a tenth of a second for a million.
  std::vector<ArchivedFeed> Feeds();

  /// A page of the items that `query` asks for, newest first: by their time, or by when they were first seen where that
  /// was earlier. The time it takes does not grow with the archive unless the restrictions leave few items of many.
  ItemPage Items(const ItemQuery& query);

  /// The item called `id` with its texts; nothing if there is none.
  std::optional<ArchivedItem> Item(std::int64_t id);

  /// Marks the items called `ids`. Returns those that were not marked so before; unknown ones are passed over.
  std::vector<std::int64_t> MarkItems(std::span<const std::int64_t> ids, ItemMark mark);

  /// Marks all items that `query` asks for, whatever its limit; those from `query.before` on are left out. Returns
  /// those that were not marked so before, so that it can be undone.
  std::vector<std::int64_t> MarkAll(const ItemQuery& query, ItemMark mark);

  /// Forgets the feed subscribed at `url`, in any form that a user gives it, and its items; starred ones stay, and with
  /// them the feed's name, though Feeds does not list it any more. False if it is not known. A feed of many
  /// items goes in parts, the oldest first, between which others may write; where it fails, a part may be gone.
  bool RemoveFeed(const std::string& url);

  /// Gives the feed subscribed at `url` another name and category, before a pull does. False if it is not known.
  bool RenameFeed(const std::string& url, const std::string& name, const std::string& category);

  /// What the archive holds.
  ArchiveStatistics Statistics();

  /// What pulls keep from now on. Starts as ArchiveRetention() and belongs to the archive.
  void SetRetention(const ArchiveRetention& retention);
  ArchiveRetention Retention();  ///< as set last

  /// Reads the whole archive and says what is wrong with it, in no fixed words; nothing if all is well. Takes time in
  /// proportion to its size.
  std::vector<std::string> Check();

  /// Makes a whole archive of what can be read of the one in `baseFolder`, also where the constructor refuses it as
  /// damaged, and moves the damaged file aside. Where Check finds nothing wrong, only the words are indexed anew. No
  /// other object or process should use the archive meanwhile.
  static ArchiveRepair Repair(const std::string& baseFolder);

 private:
  std::unique_ptr<ArchiveReading> reading_;
};

}  // namespace quillmoria

// The interface's classes are global, and so are those that belong to them.
using quillmoria::ArchivedFeed;
using quillmoria::ArchivedItem;
using quillmoria::ArchiveError;
using quillmoria::ArchiveProblem;
using quillmoria::ArchiveRepair;
using quillmoria::ArchiveRetention;
using quillmoria::ArchiveStatistics;
using quillmoria::ItemMark;
using quillmoria::ItemPage;
using quillmoria::ItemQuery;
using quillmoria::NewsArchive;
