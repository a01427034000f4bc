#include "Pull.h"

#include <string_view>

#include "WebAddress.h"

namespace quillmoria {
namespace {

struct Advice {
  std::string_view status;
  std::string_view advice;
};

constexpr Advice kAdvice[] = {
    {kStatusUnparsed, "the address gives no complete feed document"},
    {kStatusDenied, "the server wants a user name and a password"},
    {kStatusNotCached, "pull it once while online"},
};

}  // namespace

PullRunner::PullRunner(Subscriptions& subscriptions, const std::string& baseFolder, RSSSubscriber& subscriber)
    : server_(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions.holder(), baseFolder)),
      subscriber_(subscriber),
      interruption_(*server_, subscriber) {}

void PullRunner::pull() {
  server_->AttachSubscriber(&subscriber_);
  NewsServer::WaitForPulls(-1);
  server_->DetachSubscriber(&subscriber_);
}

void loadStoredPicture(RSSObject& news, const std::string& baseFolder) {
  if (news.GetChannelPicture() || news.channel.image.url.empty()) return;
  news.baseFolder = baseFolder;
  news.LoadImage(news.channel.image);
}

std::string failureText(const RSSObject& news) {
  if (news.statusMessage.empty()) return "the fetch failed";
  for (const Advice& entry : kAdvice) {
    if (news.statusMessage == entry.status) return news.statusMessage + " (" + std::string(entry.advice) + ")";
  }
  return withoutUserInformation(news.statusMessage);  // libcurl quotes a proxy that it does not understand
}

}  // namespace quillmoria
