#include "store/NewsItemCache.h"

#include <exception>
#include <memory>
#include <span>
#include <utility>

#include "platform/CArchive.h"
#include "platform/CFile.h"
#include "platform/CodePage.h"

namespace {

using Channel = RSSObject::ChannelStruct;
using Item = RSSObject::NewsItemStruct;

constexpr std::string_view kSignature = "Quillmoria News Items";
// Compatibility.
constexpr std::string_view kNotInFileNames = "\"\\><:*?|";
constexpr std::size_t kBufferBytes = 4096;
constexpr std::size_t kTimeBytes = 4;
constexpr std::int32_t kMaxBareItems = 1000000;  ///< items without a record each

// What format versions brought.
constexpr std::int32_t kSourceNoteVersion = 2;
constexpr std::int32_t kItemVersion = 3;
constexpr std::int32_t kIdentifierVersion = 4;  ///< Compatibility.

// A record is smallest when its texts are empty, one byte each. In memory it takes less than 32 times as much, so what
// a file can make us allocate is bounded by its size.
constexpr std::uint64_t kMinRecord = 5 * 1 + 4;
constexpr std::uint64_t kMinRecordWithIdentifier = kMinRecord + 1 + 4;
static_assert(sizeof(Item) < 32 * kMinRecord);

/// Stores fields one by one. Compatibility: wide text in the ANSI code page.
class FieldWriter {
 public:
  FieldWriter(CFile& file, CArchive& archive) : file_(file), archive_(archive) {}

  void operator()(const std::string& text) { archive_ << text; }
  void operator()(const std::u16string& text) { archive_ << quillmoria::wideToAnsi(text); }
  void operator()(std::int32_t value) { archive_ << value; }
  void operator()(bool flag) { archive_ << std::int32_t{flag}; }
  void operator()(CTime time) { archive_ << time; }

  /// As any time, but where nothing else is new it may be changed in place: whatever a reader meets there is a time.
  void changeable(CTime time) {
    archive_.Flush();
    file_.MarkChangeable(kTimeBytes);
    archive_ << time;
  }

 private:
  CFile& file_;
  CArchive& archive_;
};

/// Loads what FieldWriter has stored.
class FieldReader {
 public:
  explicit FieldReader(CArchive& archive) : archive_(archive) {}

  void operator()(std::string& text) { archive_ >> text; }
  void operator()(std::u16string& text) {
    archive_ >> narrow_;
    text = quillmoria::ansiToWide(narrow_);
  }
  void operator()(std::int32_t& value) { archive_ >> value; }
  void operator()(bool& flag) {
    std::int32_t value;
    archive_ >> value;
    flag = value == 1;
  }
  void operator()(CTime& time) { archive_ >> time; }
  void changeable(CTime& time) { archive_ >> time; }

 private:
  CArchive& archive_;
  std::string narrow_;
};

/// Takes `fields` through a channel in the order of the file. Compatibility: without narrow texts that have a wide
/// twin.
template <class Fields, class AnyChannel>
void transferChannel(Fields& fields, AnyChannel& channel) {
  fields(channel.titleW);
  fields(channel.link);
  fields(channel.descriptionW);
  fields(channel.language);
  fields(channel.updateBase);
  fields(channel.updatePeriod);
  fields(channel.updateFrequency);
  fields(channel.feedName);
  fields.changeable(channel.date);
  fields(channel.image.title);
  fields(channel.image.url);
  fields(channel.image.link);
  fields(channel.image.width);
  fields(channel.image.height);
  fields(channel.image.extraW);
}

/// Takes `fields` through an item in the order of the file.
template <class Fields, class AnyItem>
void transferItem(Fields& fields, AnyItem& item, std::int32_t version) {
  fields(item.titleW);
  if (version == kIdentifierVersion) {
    fields(item.guidW);
    fields(item.isPermaLink);
  }
  fields(item.link);
  fields(item.descriptionW);
  fields(item.creatorW);
  fields(item.date);
  fields(item.timeSuffix);
}

void writeFeed(CFile& file, const RSSObject& feed, std::int32_t version, const std::string& sourceNote) {
  CArchive archive(&file, CArchive::store, kBufferBytes);
  archive << kSignature << version << feed.itemCount;
  if (version >= kSourceNoteVersion) archive << sourceNote;
  FieldWriter fields(file, archive);
  transferChannel(fields, feed.channel);
  const std::int32_t records = version < kItemVersion ? 0 : feed.itemCount;
  for (std::int32_t i = 0; i < records; ++i) transferItem(fields, std::as_const(feed.items[i]), version);
  archive.Close();
}

/// Whether the rest of a file can hold `itemCount` items. Nothing is allocated for them before.
bool isPossible(std::int32_t itemCount, bool hasRecords, std::int32_t version, std::uint64_t remaining) {
  if (itemCount < 0) return false;
  if (!hasRecords) return itemCount <= kMaxBareItems;
  const std::uint64_t smallest = version == kIdentifierVersion ? kMinRecordWithIdentifier : kMinRecord;
  return static_cast<std::uint64_t>(itemCount) <= remaining / smallest;
}

/// Null for an item count that cannot be. Throws what file and archive throw.
std::unique_ptr<RSSObject> readFeed(CFile& file) {
  CArchive archive(&file, CArchive::load, kBufferBytes);
  std::string signature;
  std::int32_t version;
  std::int32_t itemCount;
  archive >> signature >> version >> itemCount;
  if (version >= kSourceNoteVersion) {
    std::string sourceNote;
    archive >> sourceNote;
  }
  FieldReader fields(archive);
  Channel channel;
  transferChannel(fields, channel);

  // Compatibility.
  const bool hasRecords = signature == kSignature && version >= kItemVersion;
  if (!isPossible(itemCount, hasRecords, version, archive.remaining())) return nullptr;
  auto items = std::make_unique<Item[]>(static_cast<std::size_t>(itemCount));
  if (hasRecords) {
    for (Item& item : std::span(items.get(), static_cast<std::size_t>(itemCount))) {
      transferItem(fields, item, version);
      item.status = quillmoria::kCachedItem;
    }
  }
  auto feed = std::make_unique<RSSObject>(std::move(channel), nullptr, itemCount);
  feed->items = items.release();
  return feed;
}

std::unique_ptr<RSSObject> tryRead(const std::string& path) {
  try {
    CFile file;
    return file.Open(path, CFile::modeRead) ? readFeed(file) : nullptr;
  } catch (const CFileException&) {
    return nullptr;
  } catch (const CArchiveException&) {
    return nullptr;
  }
}

std::unique_ptr<RSSObject> notCached(const std::string& path) {
  Channel channel;
  // Compatibility.
  channel.feedName = path.substr(path.rfind('\\') + 1);
  return std::make_unique<RSSObject>(std::move(channel), nullptr, -1);
}

}  // namespace

NewsItemCache::~NewsItemCache() = default;

std::string NewsItemCache::filePath(const std::string& baseFolder, std::string_view feedName) {
  std::string path = baseFolder + "\\cache\\";
  for (const char c : feedName) path += kNotInFileNames.find(c) == std::string_view::npos ? c : '_';
  return path;
}

std::int32_t NewsItemCache::StoreFeed(std::string baseFolder, const RSSObject* feed, std::int32_t version,
                                      std::string sourceNote) {
  try {
    CFile file;
    if (!file.Open(filePath(baseFolder, feed->channel.feedName), CFile::modeReplace)) return 0;
    writeFeed(file, *feed, version, sourceNote);
    file.Close();
    return 1;
  } catch (const std::exception&) {
    return 0;
  }
}

RSSObject* NewsItemCache::LoadFeed(std::string path) {
  try {
    return ReadFeed(path).release();
  } catch (const std::exception&) {
    return notCached(path).release();
  }
}

std::unique_ptr<RSSObject> NewsItemCache::ReadFeed(const std::string& path) {
  std::unique_ptr<RSSObject> feed = tryRead(path);
  return feed ? std::move(feed) : notCached(path);
}
