#include "feed/FetchFeed.h"

#include <utility>

#include "feed/FeedParseState.h"
#include "net/FetchBudget.h"
#include "net/FetchCall.h"
#include "net/HTTPFetcher.h"
#include "platform/Text.h"
#include "platform/Trace.h"

namespace quillmoria {

void fetchFeed(RSSObject& news, RSSObject::NewsFeed feed, std::string sourceNote) {
  const FetchCall call;
  trace("Loading RSS from URL %s\n", feed.url.c_str());
  news.itemCount = -1;
  FeedParseState state(news);
  news.channel.feedName = std::move(feed.name);
  news.channel.sourceNote = std::move(sourceNote);
  news.category = std::move(feed.category);

  HTTPFetcher fetcher;
  std::string body;
  fetcher.PrepareFetch(news.baseFolder);
  news.statusMessage = fetcher.FetchURL(std::move(feed.url), feed.userName.c_str(), feed.password.c_str(), &body);
  if (news.statusMessage == kStatusOk) {
    FetchBudget::claim(body.size() * FetchBudget::kObjectBytesPerByte);
    state.parse(body);
  } else {
    news.statusMessage = std::string(trimLineBreaks(news.statusMessage));
  }
  if (news.itemCount == -1 && news.statusMessage == kStatusOk) news.statusMessage = kStatusUnparsed;
}

}  // namespace quillmoria
