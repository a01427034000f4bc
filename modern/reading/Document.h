#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "modern/reading/ReadFeed.h"
#include "quillmoria/CTime.h"

namespace quillmoria {

/// What a document says, whatever its format: texts and addresses as they stand, nothing yet made safe, plain or
/// absolute. Empty is what it does not say.

constexpr std::size_t kMaxListed = 1'000;     ///< authors, categories and files, of each, of one entry
constexpr std::size_t kEntryAllowance = 512;  ///< of TextBudget: what an entry takes beside its texts
constexpr std::size_t kMediaAllowance = 192;  ///< likewise a file
constexpr std::size_t kListedAllowance = 32;  ///< likewise any other member of a list

/// An `xml:base` in Document::bases; 0 for none.
using Base = std::uint32_t;

enum class TextKind : std::uint8_t {
  Plain,  ///< characters
  Html,   ///< markup, be it that the document escaped it or that it was written out from its own elements
};

struct Text {
  std::string text;
  TextKind kind = TextKind::Plain;
  Base base = 0;  ///< what relative addresses in it are meant for
};

struct Address {
  std::string text;
  Base base = 0;
};

/// A file that goes with an entry.
struct Media {
  Address url;
  std::string type;
  std::int64_t length = -1;
  Text title;
  std::int64_t durationSeconds = -1;
};

/// The feed that an entry was taken from.
struct Source {
  Text title;
  Address url;
  std::vector<std::string> authors;
};

struct Entry {
  Text title;
  Text content;
  Text summary;
  Address link;
  std::string id;
  bool isPermaLink = false;  ///< the document says, or means by not saying anything, that it is an address
  bool mayBeLink = false;    ///< it may be taken for one, if it looks like it
  CTime published;
  CTime updated;
  std::vector<std::string> authors;     ///< as in "name", "address", "address (name)"
  std::vector<std::string> categories;  ///< any of them several times
  std::vector<Media> media;
  std::int64_t durationSeconds = -1;  ///< of its sound or film, where that does not say itself
  Address comments;
  Address image;
  Source source;
  std::string language;
};

struct Picture {
  Address url;
  Text title;
  Address link;
  Text description;
  std::int32_t width = -1;
  std::int32_t height = -1;
};

struct Channel {
  Text title;
  Text description;
  Text rights;
  Text generator;
  Address link;
  Address hub;
  Picture picture;
  std::string language;
  CTime published;
  CTime updated;
  std::vector<std::string> authors;
  std::vector<std::string> categories;
  CTime updateBase;
  std::string updatePeriod;
  std::int32_t updateFrequency = -1;
};

struct Document {
  std::string format;              ///< as FeedDetails::format; empty if it is no feed
  bool wasRepaired = false;        ///< it is not well-formed
  std::string root;                ///< its root element's name, in lower case and without prefix
  std::vector<std::string> bases;  ///< absolute; the first one is empty
  Channel channel;
  std::deque<Entry> entries;
  UpdateRules rules;
};

}  // namespace quillmoria
