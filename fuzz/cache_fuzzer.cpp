#include <memory>
#include <string_view>
#include <tuple>

#include "Fuzzing.h"
#include "store/NewsItemCache.h"

namespace {

using namespace std::string_view_literals;

const EnvironmentVariable codePage("QUILLMORIA_CODEPAGE", "65001");  // holds all text that one can be read into

/// Whether the item count is below 256. A file without records may announce a million items, which fill hundreds of
/// megabytes: nothing else would be tried in the time.
bool isQuick(std::string_view file) {
  constexpr std::size_t kSignatureBytes = 21;
  constexpr std::size_t kCountAt = 1 + kSignatureBytes + 4;
  return file.size() < kCountAt + 4 || (file[0] == kSignatureBytes && file.substr(kCountAt + 1, 3) == "\0\0\0"sv);
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
  const std::string file = textOf(data, size);
  if (!isQuick(file)) return 0;
  baseFolder().write("cache/input", file);
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
