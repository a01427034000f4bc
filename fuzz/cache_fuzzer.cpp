#include <memory>
#include <tuple>

#include "Fuzzing.h"
#include "store/NewsItemCache.h"

namespace {

const EnvironmentVariable codePage("QUILLMORIA_CODEPAGE", "65001");  // holds all text that one can be read into

/// Whether the upper half of the item count is 0: a file without records may announce a million items, of which an
/// object takes hundreds of megabytes, and then nothing else is tried in the time.
bool isQuick(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kSignatureBytes = 21;
  constexpr std::size_t kCountEnd = 1 + kSignatureBytes + 4 + 4;
  return size < kCountEnd || (data[0] == kSignatureBytes && data[kCountEnd - 2] == 0 && data[kCountEnd - 1] == 0);
}

auto storedFields(const RSSObject::ChannelStruct& channel) {
  const RSSObject::ImageStruct& image = channel.image;
  return std::tie(channel.titleW, channel.link, channel.descriptionW, channel.language, channel.updateBase,
                  channel.updatePeriod, channel.updateFrequency, channel.feedName, channel.date, image.title, image.url,
                  image.link, image.width, image.height, image.extraW);
}

auto storedFields(const RSSObject::NewsItemStruct& item) {
  return std::tie(item.titleW, item.guidW, item.isPermaLink, item.link, item.descriptionW, item.creatorW, item.date,
                  item.timeSuffix, item.status);
}

std::unique_ptr<RSSObject> load(const char* name) {
  return std::unique_ptr<RSSObject>(NewsItemCache().LoadFeed(NewsItemCache::filePath(baseFolder().name(), name)));
}

}  // namespace

/// A cache file; what it holds is stored again and read back equal.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!isQuick(data, size)) return 0;
  baseFolder().write("cache/input", textOf(data, size));
  const std::unique_ptr<RSSObject> first = load("input");
  if (first->itemCount < 0) return 0;

  first->channel.feedName = "output";
  require(NewsItemCache().StoreFeed(baseFolder().name(), first.get(), 4, "note") == 1);
  const std::unique_ptr<RSSObject> second = load("output");
  require(second->itemCount == first->itemCount);
  require(storedFields(second->channel) == storedFields(first->channel));
  for (std::int32_t i = 0; i < second->itemCount; ++i) {
    first->items[i].status = 4;
    require(storedFields(second->items[i]) == storedFields(first->items[i]));
  }
  return 0;
}
