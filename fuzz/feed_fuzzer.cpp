#include "Fuzzing.h"
#include "feed/FeedParseState.h"
#include "quillmoria/ConnectedState.h"

/// A feed document through to the finished object. Its picture is looked for on disk only.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SetConnectedState(ConnectedState::Disconnected);
  RSSObject feed({}, nullptr, -1);
  feed.baseFolder = baseFolder().name();
  FeedParseState(feed).parse(textOf(data, size));

  require(feed.itemCount >= -1 && feed.itemCount <= static_cast<std::int32_t>(feed.parsedItems.size()));
  require((feed.items == nullptr) == (feed.itemCount == -1));
  const RSSObject copy(feed);
  for (std::int32_t i = 0; i < copy.itemCount; ++i) {
    const RSSObject::NewsItemStruct& item = copy.getNewsItems()[i];
    require(!item.link.empty());
    require(item.descriptionW == RSSObject::FormatHTMLString(item.descriptionW));
  }
  return 0;
}
