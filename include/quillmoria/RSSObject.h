#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quillmoria/CPicture.h"
#include "quillmoria/CTime.h"
#include "quillmoria/StatusTexts.h"
#include "quillmoria/export.h"

class FeedParseState;
class NewsServer;

namespace quillmoria {

struct FeedDetails;
struct FeedObjectAccess;

/// The values of RSSObject::NewsItemStruct::status.
enum ItemStatus : std::int32_t {
  kUncomparedItem = 0,  ///< fetched outside a pull, or not comparable with the cache for want of memory or descriptors
  kNewItem = 2,         ///< not in the cache before, or in the modern profile's archive
  kSeenItem = 3,        ///< in the cache already, or in the archive
  kCachedItem = 4,      ///< read from the cache, or from the archive
};

}  // namespace quillmoria

/// One feed as the engine hands it to the host: channel, image, items, and a text that says how it went.
///
///     RSSObject::NewsFeed feed;
///     feed.name = "Example";
///     feed.url = "http://example.org/news.rss";
///     RSSObject news(feed, "", baseFolder);  // fetches and parses before it returns
///     if (news.itemCount < 0) return complain(news.statusMessage);
///     for (std::int32_t i = 0; i < news.itemCount; ++i) show(news.getNewsItems()[i].titleW);
///
/// Whoever makes an object or receives it in RSSSubscriber::NewsReceived owns it and deletes it. The engine does not
/// change an object after it has delivered it. One thread at a time.
///
/// Narrow strings that come from a document are UTF-8; their wide twins, whose names end in `W`, are UTF-16. The
/// comments on the records tell what the classic profile puts there, texts exactly as the document has them. In the
/// modern one (Profile.h) titles, names and the channel's texts are plain, descriptions safe HTML, addresses absolute,
/// dates moments with an empty suffix, and `items` holds all items.
class QUILLMORIA_EXPORT RSSObject {
 public:
  /// The channel image. New records hold their reset values.
  struct QUILLMORIA_EXPORT ImageStruct {
    std::string title;         ///< the image's own
    std::string url;           ///< where the picture is fetched from
    std::string link;          ///< what a click on it leads to
    std::string description;   ///< for a tooltip
    std::int32_t width = 1;    ///< in pixels as the document says, 1 if it does not
    std::int32_t height = -1;  ///< in pixels as the document says, -1 if it does not
    std::u16string extraW;     ///< the host's own; kept in the cache

    /// Empties the strings and sets `width` to 1 and `height` to -1.
    void reset();
  };

  /// The header of one feed document.
  struct QUILLMORIA_EXPORT ChannelStruct {
    std::string title;                  ///< in the cache only as `titleW`
    std::u16string titleW;              ///< the same in UTF-16
    std::string link;                   ///< for Atom the `href` of a feed-level link
    std::string description;            ///< RSS only
    std::u16string descriptionW;        ///< RSS description or Atom tagline
    std::string language;               ///< as in "en-us"
    ImageStruct image;                  ///< the channel image; the picture itself is the feed object's
    CTime updateBase;                   ///< syn:updateBase; RSS documents start from 2000-01-01 12:00 local time
    std::string updatePeriod;           ///< syn:updatePeriod; RSS documents start from "hourly"
    std::int32_t updateFrequency = -1;  ///< syn:updateFrequency; RSS documents start from 1
    std::string feedName;               ///< the subscribed feed's name; the cache file is named after it
    CTime date;                         ///< dc:date; RSS documents start from the time of parsing
    std::string sourceNote;             ///< the note given to the constructor that fetches

    /// Empties the strings and sets the times and `updateFrequency` to -1; `image`, `feedName` and `sourceNote` stay.
    void reset();
  };

  /// One item (RSS) or entry (Atom).
  struct QUILLMORIA_EXPORT NewsItemStruct {
    std::string title;            ///< RSS only
    std::u16string titleW;        ///< title
    std::string link;             ///< address; of a kept item without one, its permalink guid
    std::string description;      ///< RSS only
    std::u16string descriptionW;  ///< description, Atom content or summary; of a kept item, as FormatHTMLString left it
    std::u16string creatorW;      ///< author
    std::u16string guidW;         ///< identifier: RSS guid or Atom id
    bool isPermaLink = false;     ///< the guid said isPermaLink="true"
    CTime date;                   ///< an item that gives none has the time of parsing
    std::string timeSuffix;       ///< shown after the time: "GMT", "AM" or "PM"
    std::int32_t status = quillmoria::kUncomparedItem;  ///< see ItemStatus

    /// Empties the strings, sets `date` to -1 and `isPermaLink` to false; `status` stays.
    void reset();
  };

  /// One subscribed feed, filled by the host.
  struct QUILLMORIA_EXPORT NewsFeed {
    std::string category;       ///< becomes the feed object's category
    std::string name;           ///< display name; becomes ChannelStruct::feedName
    std::string url;            ///< http or https address
    std::uint8_t enabled = 0;   ///< a pull takes only feeds where this is exactly 1
    std::uint8_t userFlag = 0;  ///< the host's own
    std::string userName;       ///< for HTTP authentication, sent only when the server asks
    std::string password;       ///< that goes with it

    /// Empties the strings and clears both flags.
    void initialize();
  };

  /// The feeds of one category, filled by the host, which owns the array; copies share it.
  struct QUILLMORIA_EXPORT NewsFeedsPerCategoryStruct {
    NewsFeed* feeds = nullptr;     ///< the first of the array, not owned
    std::int32_t feedCount = 0;    ///< entries of the array
    std::string category;          ///< name, sent with event 12
    std::int32_t categoryId = -1;  ///< the host's own

    /// Sets `feedCount` to 0, `category` to empty and `categoryId` to -1; `feeds` stays.
    void initialize();
  };

  /// All categories, filled by the host, which owns the array; copies share it.
  struct QUILLMORIA_EXPORT CategoryHolderStruct {
    NewsFeedsPerCategoryStruct* categories = nullptr;  ///< the first of the array, not owned
    std::int32_t categoryCount = 0;                    ///< entries of the array

    /// Sets `categoryCount` to 0; `categories` stays.
    void initialize();
  };

  /// Fetches `feed.url` with the feed's credentials and parses the document, by the rules of the profile (Profile.h),
  /// on the calling thread; blocks meanwhile. `sourceNote` is kept in the channel; the channel picture goes to the
  /// image folder of `baseFolder`. A failure leaves `itemCount` -1 and its text in `statusMessage`.
  RSSObject(NewsFeed feed, std::string sourceNote, std::string baseFolder);

  /// An object of stored records. Takes over `items`, made by `new NewsItemStruct[n]` with n at least `itemCount`, or
  /// null. A count of -1 stands for a feed that is not in the cache.
  RSSObject(ChannelStruct channel, NewsItemStruct* items, std::int32_t itemCount);

  /// Copies have items of their own and share the decoded picture, which never changes.
  RSSObject(const RSSObject& other);
  RSSObject& operator=(const RSSObject& other);  ///< Copies likewise.

  /// Releases the items and the picture.
  virtual ~RSSObject();

  /// The first of `itemCount` items, or null. The object keeps them.
  NewsItemStruct* getNewsItems() const;

  /// The category of the subscribed feed; empty for an object of stored records.
  std::string GetCategory() const;

  /// The channel picture, or null if the document names none; it holds no image if none could be loaded. The object
  /// keeps it.
  CPicture* GetChannelPicture() const;

  /// True if a pull has fetched this object, compared its items with those of the last pull and stored them, so that
  /// the next pull knows them; false if the disk did not let it, and of any object that failed, came from the cache or
  /// was made outside a pull. Copies say the same.
  bool WasStored() const;

  /// What the modern profile knows of the feed beyond the records; null in the classic one. The object keeps it, copies
  /// share it, and nobody changes it any more.
  const quillmoria::FeedDetails* GetDetails() const;

  /// Replaces the channel picture by the one at `image.url`, from the image folder or the network (CPicture), or by
  /// none if the address is empty.
  void LoadImage(ImageStruct image);

  /// `html` with the end tags that an HTML table in it lacks: a cut-off table would break the display of all that
  /// follows. Text without a table, or with a complete one, comes back as it is.
  static std::u16string FormatHTMLString(std::u16string html);

  NewsItemStruct* items = nullptr;          ///< owned, made by new[]; null until a document is finished
  ChannelStruct channel;                    ///< the header; holds reset values where the document gives none
  std::int32_t itemCount = -1;              ///< meaningful entries of `items`; -1 if there is no finished document
  std::int32_t newItemCount = 0;            ///< items whose status is kNewItem
  std::string statusMessage;                ///< one of StatusTexts.h, an error text of the network, or empty
  std::vector<NewsItemStruct> parsedItems;  ///< classic: all items in document order, also those without an address
  CPicture* channelPicture = nullptr;       ///< owned, or null
  std::string category;                     ///< see GetCategory
  std::string baseFolder;                   ///< images are kept under it

 private:
  friend struct quillmoria::FeedObjectAccess;

  bool wasStored_ = false;
  std::shared_ptr<quillmoria::FeedDetails> details_;
};
