#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quillmoria/CTime.h"
#include "quillmoria/HTTPFetchSubscriber.h"
#include "quillmoria/StatusTexts.h"
#include "quillmoria/export.h"

class OPMLParseState;

namespace quillmoria {

/// What OPMLSubscriber::OPMLEventPublished is told.
enum OPMLEventId : std::int32_t {
  kListStarted = 0,        ///< reading from a URL has started
  kListFetchStarting = 1,  ///< the fetch is about to start
  kListFetchFinished = 2,  ///< the fetch has ended, well or not
  kListFetchNotice = 4,    ///< a fetch notice
  kListUpdated = 5,        ///< an outline has been placed; also the last event of every reading from a URL
};

}  // namespace quillmoria

/// A subscription list: the head of an OPML document and the tree of its outlines.
///
/// OPMLParser makes and fills it; the host reads it:
///
///     for (const OPMLDoc::OutlineStruct* outline : parser.GetOPMLDoc()->outlines)
///       for (const OPMLDoc::OutlineStruct* feed : outline->children) subscribe(feed->text, feed->xmlUrl);
///
/// An outline with an `xmlUrl` is a feed, one with children a container. Lists may nest deeply: walk them without
/// recursion. One thread at a time.
class QUILLMORIA_EXPORT OPMLDoc {
 public:
  /// What the document says of itself. New records hold their reset values.
  struct QUILLMORIA_EXPORT HeadStruct {
    std::u16string title;               ///< of the list
    CTime dateCreated;                  ///< none unless the document gives it as an RFC 822 date
    CTime dateModified;                 ///< likewise
    std::u16string ownerName;           ///< who keeps the list
    std::u16string ownerEmail;          ///< and where to write to
    std::string expansionState;         ///< lines that are shown expanded, as the document has them
    std::int32_t vertScrollState = -1;  ///< never read from a document
    std::int32_t windowTop = -1;        ///< in pixels of the screen that the list was written on
    std::int32_t windowLeft = -1;       ///< likewise
    std::int32_t windowBottom = -1;     ///< likewise
    std::int32_t windowRight = -1;      ///< likewise

    /// Empties the strings and sets the times and integers to -1.
    void reset();
  };

  /// One node of the tree. Copies list the same children and own none of them; the document owns all outlines.
  struct QUILLMORIA_EXPORT OutlineStruct {
    OutlineStruct* parent = nullptr;  ///< the enclosing outline; none at the top and under the wrapper of a flat list
    std::vector<OutlineStruct*> children;  ///< in document order
    std::int32_t level = 0;                ///< 0 at the top, below one more than the parent's
    std::u16string text;                   ///< the label
    std::string type;                      ///< "rss" for every outline with a feed address
    std::string xmlUrl;                    ///< the feed's address
    std::string url;                       ///< a further address
    std::u16string description;            ///< free text
    CTime dateCreated;                     ///< none unless the outline gives it as an RFC 822 date

    /// Sets every field but `level` to its start value; listed children are not freed.
    void reset();
  };

  OPMLDoc();

  /// A copy has a tree of its own.
  OPMLDoc(const OPMLDoc& other);
  OPMLDoc& operator=(const OPMLDoc& other);  ///< Copies likewise.

  /// Frees the tree.
  virtual ~OPMLDoc();

  std::string version;                   ///< "1.0", "1.1", or empty for any other
  HeadStruct head;                       ///< holds reset values where the document gives none
  std::vector<OutlineStruct*> outlines;  ///< the top-level outlines in document order, owned with all below them
  OutlineStruct* lastOutline = nullptr;  ///< the outline that was read last

 private:
  static void DeleteChildren(OutlineStruct* outline);
};

/// A node that knows its parent, for a host's own trees. The engine does not use it.
class QUILLMORIA_EXPORT OPMLOutline {
 public:
  /// `parent` may be null and is not owned.
  explicit OPMLOutline(OPMLOutline* parent);
  OPMLOutline(const OPMLOutline&);             ///< Copies all four fields; not the parent itself.
  OPMLOutline& operator=(const OPMLOutline&);  ///< Copies likewise.
  virtual ~OPMLOutline();

  /// The parent as given, or null.
  OPMLOutline* GetParent() const;

  OPMLOutline* parent;        ///< as given to the constructor
  std::u16string firstText;   ///< the host's own
  std::u16string secondText;  ///< the host's own
  std::int32_t data = 0;      ///< the host's own
};

/// What a host derives from to hear how the reading of a subscription list goes on.
class QUILLMORIA_EXPORT OPMLSubscriber {
 public:
  OPMLSubscriber();
  OPMLSubscriber(const OPMLSubscriber&);             ///< There is nothing to copy.
  OPMLSubscriber& operator=(const OPMLSubscriber&);  ///< There is nothing to copy.
  virtual ~OPMLSubscriber();

  /// Called on the thread that reads the list; `event` is a quillmoria::OPMLEventId. Must not add or remove subscribers
  /// of the parser that calls, nor read another list with it. What it throws ends the reading and comes out of it.
  virtual void OPMLEventPublished(std::int32_t event) = 0;
};

/// Reads subscription lists in OPML form, from a file or from a URL.
///
///     OPMLParser parser(baseFolder);
///     parser.ParseFromURL("http://example.org/feeds.opml");
///     if (parser.status != quillmoria::kStatusOk) return complain(parser.status);
///     const OPMLDoc* list = parser.GetOPMLDoc();
///
/// Lists without any nesting come back as one outline that holds them all, titled like the list. A parser belongs to
/// one thread at a time; several parsers may work at once.
class QUILLMORIA_EXPORT OPMLParser : public HTTPFetchSubscriber {
 public:
  /// `baseFolder` is where the settings file of the fetcher is looked for.
  explicit OPMLParser(std::string baseFolder);
  OPMLParser(const OPMLParser&) = delete;
  OPMLParser& operator=(const OPMLParser&) = delete;

  /// Frees the document; subscribers stay the host's.
  ~OPMLParser() override;

  /// A fetch notice: sends kListFetchNotice, whatever the stage.
  void EventPublished(int stage) override;

  /// Reads the list in the file at `path`. One that cannot be opened, is no regular file or is above 64 MiB gives an
  /// empty document and the status kStatusOk.
  void ParseFromFile(std::string path);

  /// Fetches and reads the list at `url`; blocks meanwhile. A failed fetch leaves its text in `status` and the previous
  /// document in place.
  void ParseFromURL(std::string url);

  /// The list read last, or null before the first. The parser keeps it, until it reads again or is destroyed.
  OPMLDoc* GetOPMLDoc() const;

  /// Appends `subscriber`, which stays the host's, also if it is there already.
  void AddOPMLEventSubscriber(OPMLSubscriber* subscriber);

  /// Removes every entry of `subscriber`.
  void RemoveOPMLEventSubscriber(OPMLSubscriber* subscriber);

  /// Calls every subscriber with `event`, in the order of registration.
  void SendEventToAllSubscribers(std::int32_t event);

 private:
  std::unique_ptr<OPMLDoc> document;
  std::vector<OPMLSubscriber*> subscribers;

 public:
  std::string status;  ///< empty before the first reading, then kStatusOk or the text of a failed fetch

 private:
  void ParseContent(std::string text);
  std::unique_ptr<OPMLParseState> initialize();

  std::string baseFolder;
};

namespace quillmoria {

/// `list` as an OPML document of version 2.0 in UTF-8, which any XML parser reads, whatever the texts hold: what XML
/// has no form of, and what is not valid UTF-8 or UTF-16, becomes U+FFFD. Categories are the outlines around a feed. Of
/// the list only heads, texts and children count; deep ones are no trouble. Throws std::bad_alloc.
///
///     std::ofstream(path) << WriteOPML(*parser.GetOPMLDoc());
///
/// OPMLParser reads from it the list that was written, but for the version, and with these limits of its own: a list
/// without nesting comes back under one outline, of texts in the head that have several lines only the last comes, and
/// from a file texts gain a space in words of more than 1,400 bytes.
QUILLMORIA_EXPORT std::string WriteOPML(const OPMLDoc& list);

}  // namespace quillmoria

// The interface's classes are global, and so is what is called beside them.
using quillmoria::WriteOPML;
