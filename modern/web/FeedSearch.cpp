#include "modern/web/FeedSearch.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "modern/html/Page.h"
#include "modern/reading/Encoding.h"
#include "modern/reading/ReadFeed.h"
#include "modern/web/WebFetch.h"
#include "modern/web/WebState.h"
#include "platform/CodePage.h"
#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr int kMaxRequests = 8;  ///< with those that redirects take
constexpr std::string_view kUsualPlaces[] = {"/feed", "/rss", "/atom.xml", "/rss.xml", "/feed.xml", "/index.xml"};

constexpr std::pair<std::string_view, std::string_view> kTypes[] = {
    {"RSS", "application/rss+xml"},
    {"Atom", "application/atom+xml"},
    {"JSON", "application/feed+json"},
};

/// The media type of a feed in `format`, as in "RSS 2.0".
std::string typeOf(std::string_view format) {
  const auto known = std::ranges::find_if(kTypes, [&](const auto& type) { return format.starts_with(type.first); });
  return std::string(known == std::end(kTypes) ? std::string_view() : known->second);
}

class Search {
 public:
  Search(WebAddress page, const std::string& baseFolder) {
    order_.address = std::move(page);
    order_.baseFolder = baseFolder;
    order_.pull = webState->beginPull();
    order_.accept = kAcceptPages;
    order_.requests = &requests_;
  }

  FoundFeeds run() {
    const WebAnswer page = fetchFromWeb(order_);
    found_.statusMessage = page.statusMessage;
    found_.outcome = page.outcome;
    if (page.outcome != Outcome::Fetched || addFeed(page)) return std::move(found_);
    addLinks(page);
    if (found_.feeds.empty()) tryUsualPlaces(page.origin);
    return std::move(found_);
  }

 private:
  /// Whether the answer is a feed, which is added.
  bool addFeed(const WebAnswer& answer) {
    const ReadFeed read = readFeed(answer.body, answer.fields.last("content-type"), answer.finalUrl);
    if (read.news->itemCount < 0) return false;
    webState->noteFeedFrom(answer.origin);
    const FeedDetails* const details = read.news->GetDetails();
    const bool isNew = documents_.insert(answer.finalUrl).second;  // servers may give one feed at several places
    if (isNew) add({wideToUtf8(read.news->channel.titleW), answer.lastingUrl, details ? typeOf(details->format) : ""});
    return true;
  }

  void addLinks(const WebAnswer& page) {
    std::string contentType(page.fields.last("content-type"));
    if (lowerAscii(contentType).find("charset") == std::string::npos) {
      contentType.append("; charset=").append(pageCharset(page.body));
    }
    const DecodedText html = decodeDocument(page.body, contentType);
    for (PageLink& link : feedLinks(html.text, page.finalUrl)) {
      const std::optional<WebUrl> url = WebUrl::parse(link.url);
      if (url) add({std::move(link.title), url->text(), std::move(link.type)});
    }
  }

  void tryUsualPlaces(const std::string& origin) {
    const WebAddress& page = order_.address;
    if (origin != page.url.origin() && !(page.plainUrl && origin == page.plainUrl->origin())) {
      order_.address.userName.clear();
      order_.address.password.clear();
    }
    for (const std::string_view place : kUsualPlaces) {
      if (requests_ <= 0) return;
      std::optional<WebUrl> url = WebUrl::parse(origin + std::string(place));
      if (!url) return;
      order_.address.url = std::move(*url);
      order_.address.plainUrl.reset();
      const WebAnswer answer = fetchFromWeb(order_);
      if (answer.outcome == Outcome::Fetched) addFeed(answer);
    }
  }

  void add(FoundFeed feed) {
    if (std::ranges::find(found_.feeds, feed.url, &FoundFeed::url) == found_.feeds.end()) {
      found_.feeds.push_back(std::move(feed));
    }
  }

  WebOrder order_;
  int requests_ = kMaxRequests;
  std::set<std::string> documents_;  ///< the addresses of those that were feeds
  FoundFeeds found_;
};

}  // namespace

FoundFeeds searchFeeds(WebAddress page, const std::string& baseFolder) {
  return Search(std::move(page), baseFolder).run();
}

}  // namespace quillmoria
