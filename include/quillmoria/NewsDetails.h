#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "quillmoria/CTime.h"
#include "quillmoria/export.h"

namespace quillmoria {

/// What became of a feed: what was asked and what was answered.
enum class Outcome : std::int32_t {
  Fetched,       ///< the server gave a document, and it is a feed
  NotModified,   ///< the server's document is the one that was had before
  NotAsked,      ///< nothing was requested: the host has asked for a rest (FeedDetails::notBefore)
  Offline,       ///< the machine is offline, and the feed comes from what was stored
  Denied,        ///< 401, 403 or 407: credentials are missing or wrong
  NotFound,      ///< 404
  Gone,          ///< 410: the feed is to be unsubscribed
  RateLimited,   ///< 429, or 503 with Retry-After
  ServerError,   ///< 500 to 599
  HttpError,     ///< any other answer that gives no document, and redirects that lead nowhere
  NetworkError,  ///< no answer: no such name, no connection, cut off, too slow
  TlsError,      ///< the server's certificate or its TLS is not to be trusted
  TooLarge,      ///< the document is above 64 MiB, counted decoded
  NotAFeed,      ///< the document is something else, such as a web page
  Malformed,     ///< the document looks like a feed and cannot be read
  NoMemory,      ///< memory or descriptors lack
};

/// The name of `outcome`, as in "NotModified".
QUILLMORIA_EXPORT std::string_view OutcomeName(Outcome outcome);

/// A file that goes with an item: RSS enclosure, Atom link of that kind, media:content, JSON Feed attachment.
struct Enclosure {
  std::string url;                    ///< absolute
  std::string type;                   ///< media type, as in "audio/mpeg"; empty if the feed does not say
  std::int64_t length = -1;           ///< in bytes; -1 if the feed does not say
  std::string title;                  ///< plain text, UTF-8; mostly empty
  std::int64_t durationSeconds = -1;  ///< -1 if the feed does not say
};

/// What an item's record (RSSObject::NewsItemStruct) has no member for. Texts are empty and times CTime() where the
/// feed says nothing. Texts whose names end in `W` are UTF-16, others UTF-8.
struct ItemDetails {
  std::int64_t id = 0;                  ///< the archive's number of the item (NewsArchive.h); 0 if it is not there
  CTime published;                      ///< when it was published
  CTime updated;                        ///< when it was last changed
  CTime firstSeen;                      ///< when the engine met it first; outside a pull no time
  bool changed = false;                 ///< its title or text differs from what was had before
  std::u16string summaryW;              ///< the short text, safe HTML
  std::u16string contentW;              ///< the full text, safe HTML
  std::vector<std::string> authors;     ///< names, or addresses where there are no names; plain text
  std::vector<std::string> categories;  ///< plain text, in the feed's order, each once
  std::vector<Enclosure> enclosures;    ///< in the feed's order, each address once
  std::string commentsUrl;              ///< where it is discussed
  std::string imageUrl;                 ///< a picture that stands for it
  std::string sourceTitle;              ///< of the feed that it was taken from; plain text
  std::string sourceUrl;                ///< that feed's address, or its site's
  std::string language;                 ///< as in "en-us"
};

/// What a feed object has no member for: RSSObject::GetDetails. Texts are empty and times CTime() where nothing is
/// known. All addresses are absolute; texts are UTF-8 and plain.
struct FeedDetails {
  Outcome outcome = Outcome::Fetched;   ///< what became of it
  std::int32_t httpStatus = 0;          ///< of the last response; 0 if there was none
  std::string finalUrl;                 ///< where the document came from, after redirects
  std::string movedTo;                  ///< the address to subscribe to from now on; empty if the feed has not moved
  std::string format;                   ///< as in "RSS 2.0", "Atom 1.0", "JSON Feed 1.1"; empty if there is no feed
  bool wasRepaired = false;             ///< the document was not well-formed, and what could be read was
  CTime nextDue;                        ///< when asking again makes sense
  CTime notBefore;                      ///< until when the feed's host must not be asked
  std::string siteUrl;                  ///< the page that the feed belongs to
  std::string iconUrl;                  ///< the feed's picture
  std::vector<std::string> categories;  ///< of the whole feed, in its order, each once
  std::vector<std::string> authors;     ///< names, or addresses where there are no names
  std::string rights;                   ///< copyright
  std::string generator;                ///< the program that made the feed
  std::string hubUrl;                   ///< where changes are announced (WebSub)
  std::vector<ItemDetails> items;       ///< one for each of RSSObject::items, in the same order
};

}  // namespace quillmoria

// The interface's classes are global, and so are those that belong to them.
using quillmoria::FeedDetails;
using quillmoria::ItemDetails;
using quillmoria::Outcome;
