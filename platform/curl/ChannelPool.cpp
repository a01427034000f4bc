#include "platform/curl/ChannelPool.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <type_traits>
#include <utility>

#include "platform/CInternetException.h"

namespace quillmoria {

constinit Mutex poolsMutex;

constexpr std::ptrdiff_t kMaxIdleChannels = 16;

/// What all requests of a process know of names and TLS sessions.
class Share {
 public:
  Share() : handle_(curl_share_init()) {
    if (!handle_) throw CInternetException("Out of memory", ERROR_NOT_ENOUGH_MEMORY);
    curl_share_setopt(handle(), CURLSHOPT_USERDATA, this);
    curl_share_setopt(handle(), CURLSHOPT_LOCKFUNC, lock);
    curl_share_setopt(handle(), CURLSHOPT_UNLOCKFUNC, unlock);
    curl_share_setopt(handle(), CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(handle(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;

  CURLSH* handle() const { return handle_.get(); }

 private:
  static void lock(CURL*, curl_lock_data data, curl_lock_access, void* share) noexcept {
    static_cast<Share*>(share)->mutexes_[data].lock();
  }
  static void unlock(CURL*, curl_lock_data data, void* share) noexcept {
    static_cast<Share*>(share)->mutexes_[data].unlock();
  }

  std::array<std::mutex, CURL_LOCK_DATA_LAST> mutexes_;
  CurlHandle<CURLSH, curl_share_cleanup> handle_;
};

/// The transfers of a process.
struct Network {
  ChannelPool* pools GUARDED_BY(poolsMutex) = nullptr;
  std::atomic<bool> isCutOff = false;
  std::atomic<void (*)()> shutDown = nullptr;

  void cutOff() {
    const MutexLock lock(poolsMutex);
    isCutOff = true;
    for (ChannelPool* pool = pools; pool; pool = pool->next_) {
      std::erase_if(pool->channels_, ChannelPool::isIdle);
      pool->share_.reset();
    }
    wakeIf([](const Channel&) { return true; });
  }

  void wake(const TransferGroup& group) {
    const MutexLock lock(poolsMutex);
    wakeIf([&group](const Channel& channel) { return channel.group == &group; });
  }

  bool isUnused() {
    const MutexLock lock(poolsMutex);
    for (const ChannelPool* pool = pools; pool; pool = pool->next_) {
      if (!pool->channels_.empty()) return false;
    }
    return true;
  }

  static void atExit();

 private:
  template <class Condition>
  void wakeIf(const Condition& isMeant) REQUIRES(poolsMutex) {
    const auto stay = libcurl.enter();
    if (!stay) return;
    for (const ChannelPool* pool = pools; pool; pool = pool->next_) {
      for (const auto& channel : pool->channels_) {
        if (isMeant(*channel)) curl_multi_wakeup(channel->multi());
      }
    }
  }
};

namespace {

constinit Network network;
constinit thread_local TransferGroup* currentGroup = nullptr;
static_assert(std::is_trivially_destructible_v<Network>, "used after the end of static objects");

}  // namespace

void Network::atExit() {
  if (void (*const shutDown)() = network.shutDown) shutDown();
  network.cutOff();
  libcurl.leaveForGood();
  if (network.isUnused()) libcurl.tearDown();
}

Channel::Channel(std::shared_ptr<Share> share) : share_(std::move(share)), multi_(curl_multi_init()) {
  // Without descriptors for this it would work, but nobody could cut it off.
  if (!multi_ || curl_multi_wakeup(multi()) != CURLM_OK) {
    throw CInternetException("Out of memory or descriptors", ERROR_NOT_ENOUGH_MEMORY);
  }
  curl_multi_setopt(multi(), CURLMOPT_MAXCONNECTS, 1L);
}

void Channel::renewEasy() {
  easy_.reset(curl_easy_init());
  if (!easy_) throw CInternetException("Out of memory", ERROR_NOT_ENOUGH_MEMORY);
  curl_easy_setopt(easy(), CURLOPT_SHARE, share_->handle());
}

ChannelPool::~ChannelPool() {
  const MutexLock lock(poolsMutex);
  ChannelPool** link = &network.pools;
  while (*link && *link != this) link = &(*link)->next_;
  if (*link) *link = next_;
}

Channel* ChannelPool::acquire(const std::string& server, HttpRequest* request) {
  const MutexLock lock(poolsMutex);
  checkCutOff();
  libcurl.setUp(Network::atExit);
  if (!std::exchange(isListed_, true)) next_ = std::exchange(network.pools, this);

  auto chosen = chooseIdle(server);
  if (chosen == channels_.end()) {
    if (!share_) share_ = std::make_shared<Share>();
    chosen = channels_.insert(channels_.end(), std::make_unique<Channel>(share_));
  }
  (*chosen)->server = server;
  (*chosen)->request = request;
  (*chosen)->group = TransferGroup::current();
  return chosen->get();
}

ChannelPool::Channels::iterator ChannelPool::chooseIdle(const std::string& server) {
  const auto same = std::ranges::find_if(
      channels_, [&](const auto& channel) { return isIdle(channel) && channel->server == server; });
  if (same != channels_.end()) return same;
  const bool isFull = std::ranges::count_if(channels_, isIdle) >= kMaxIdleChannels;
  return isFull ? std::ranges::find_if(channels_, isIdle) : channels_.end();
}

void ChannelPool::release(Channel* channel, bool isReusable) noexcept {
  const MutexLock lock(poolsMutex);
  channel->request = nullptr;
  channel->group = nullptr;
  const auto its = std::ranges::find(channels_, channel, &std::unique_ptr<Channel>::get);
  std::rotate(its, its + 1, channels_.end());
  if (!isReusable || network.isCutOff) {
    channels_.pop_back();
  } else if (std::ranges::count_if(channels_, isIdle) > kMaxIdleChannels) {
    channels_.erase(std::ranges::find_if(channels_, isIdle));
  }
}

void setUpNetwork() noexcept {
  try {
    const auto stay = libcurl.enterOrThrow();
    libcurl.setUp(Network::atExit);
  } catch (const std::exception&) {
    // The first request tries again, and tells.
  }
}

void cutOffTransfers() { network.cutOff(); }

void resumeTransfers() {
  libcurl.reopen();
  network.isCutOff = false;
}

void setNetworkShutDown(void (*shutDown)()) { network.shutDown = shutDown; }

void TransferGroup::cutOff() {
  isCutOff_ = true;
  network.wake(*this);
}

TransferGroup* TransferGroup::current() { return currentGroup; }

TransferGroup::Membership::Membership(TransferGroup& group) { currentGroup = &group; }

TransferGroup::Membership::~Membership() { currentGroup = nullptr; }

bool areTransfersCutOff() {
  const TransferGroup* const group = TransferGroup::current();
  return network.isCutOff || (group && group->isCutOff());
}

void checkCutOff() {
  if (areTransfersCutOff()) {
    throw CInternetException("The transfer was cut off", ERROR_INTERNET_OPERATION_CANCELLED);
  }
}

}  // namespace quillmoria
