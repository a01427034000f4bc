#include "reader/ReaderState.h"

#include <cstddef>

#include "Failure.h"
#include "Output.h"
#include "SampleFeeds.h"
#include "SubscriptionFile.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxOffers = 16;

}  // namespace

void Offers::keep(const std::string& typed, const FeedOffer& offer) {
  const std::lock_guard lock(mutex_);
  if (offers_.size() >= kMaxOffers) offers_.clear();
  offers_.insert_or_assign(typed, offer);
}

std::optional<FeedOffer> Offers::find(const std::string& typed) const {
  const std::lock_guard lock(mutex_);
  const auto found = offers_.find(typed);
  return found == offers_.end() ? std::nullopt : std::optional(found->second);
}

SampleServer::SampleServer(const std::string& baseFolder) {
  const std::optional<int> port = samplesPort(readSubscriptions(baseFolder));
  if (!port) return;
  try {
    server_ = std::make_unique<DemoServer>(*port);
  } catch (const Failure& failure) {
    complain(failure.what());
  }
}

std::string SampleServer::address() {
  const std::lock_guard lock(mutex_);
  if (!server_) server_ = std::make_unique<DemoServer>();
  return server_->address();
}

}  // namespace quillmoria
