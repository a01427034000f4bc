#include "modern/archive/ClassicCache.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include "modern/html/Html.h"
#include "platform/CodePage.h"
#include "platform/Url.h"
#include "quillmoria/NewsDetails.h"
#include "records/FeedObjectAccess.h"
#include "store/NewsItemCache.h"

namespace quillmoria {
namespace {

std::u16string_view withoutSpace(std::u16string_view text) {
  constexpr std::u16string_view kSpace = u" \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  while (!text.empty() && kSpace.find(text.back()) != std::u16string_view::npos) text.remove_suffix(1);
  return text;
}

std::string plain(std::u16string_view text) {
  std::string shown;
  appendPlainText(shown, wideToUtf8(text));
  return shown;
}

/// Writes the records of a cache file, which hold texts, addresses and identifiers as the document had them.
class Rewriter {
 public:
  Rewriter(RSSObject& news, const std::string& url, ItemStatus status)
      : news_(news), status_(status), base_(url), now_(CTime::GetCurrentTime()) {}

  void run() {
    auto details = std::make_shared<FeedDetails>();
    writeChannel(*details);
    details->items.resize(static_cast<std::size_t>(news_.itemCount));
    for (std::size_t i = 0; i < details->items.size(); ++i) writeItem(news_.items[i], details->items[i]);
    FeedObjectAccess::setDetails(news_, std::move(details));
  }

 private:
  /// Addresses are relative to the feed's own, or to its site's where that is another.
  void writeChannel(FeedDetails& details) {
    RSSObject::ChannelStruct& channel = news_.channel;
    channel.link = absoluteUrl(channel.link, base_);
    const std::optional<WebUrl> site = WebUrl::parse(channel.link);
    const std::optional<WebUrl> served = WebUrl::parse(base_);
    if (site && (!served || site->host != served->host)) base_ = channel.link;
    channel.title = plain(channel.titleW);
    channel.titleW = utf8ToWide(channel.title);
    channel.description = plain(channel.descriptionW);
    channel.descriptionW = utf8ToWide(channel.description);
    channel.image.url = absoluteUrl(channel.image.url, base_);
    details.siteUrl = channel.link;
    details.iconUrl = channel.image.url;
  }

  void writeItem(RSSObject::NewsItemStruct& item, ItemDetails& details) {
    item.link = absoluteUrl(item.link, base_);
    item.guidW = std::u16string(withoutSpace(item.guidW));
    item.title = plain(item.titleW);
    item.titleW = utf8ToWide(item.title);
    item.description.clear();
    appendSafeHtml(item.description, wideToUtf8(item.descriptionW), item.link.empty() ? base_ : item.link, resolvable_);
    item.descriptionW = utf8ToWide(item.description);
    details.summaryW = item.descriptionW;
    std::string creator = plain(item.creatorW);
    item.creatorW = utf8ToWide(creator);
    if (!creator.empty()) details.authors.push_back(std::move(creator));
    item.timeSuffix.clear();
    item.status = status_;
    const bool isDated = item.date.GetTime() > 0 && item.date.GetTime() <= now_.GetTime();
    if (!isDated) item.date = now_;
    details.firstSeen = item.date;
  }

  RSSObject& news_;
  const ItemStatus status_;
  std::string base_;
  const CTime now_;
  std::size_t resolvable_ = kMaxResolvedBytes;
};

}  // namespace

std::unique_ptr<RSSObject> readClassicCache(const std::string& baseFolder, const std::string& feedName,
                                            const std::string& url, ItemStatus status) {
  try {
    std::unique_ptr<RSSObject> news = NewsItemCache::ReadFeed(NewsItemCache::filePath(baseFolder, feedName));
    if (news->itemCount < 0) return nullptr;
    Rewriter(*news, url, status).run();
    return news;
  } catch (const std::system_error&) {
    throw std::bad_alloc();  // of descriptors
  }
}

}  // namespace quillmoria
