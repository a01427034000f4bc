#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "platform/Socket.h"
#include "platform/TransferGroup.h"
#include "platform/curl/Libcurl.h"

namespace quillmoria {

class HttpRequest;
class Share;

/// A handle of libcurl, which is left as it is once libcurl has been left for good.
template <class Handle, auto kRelease>
struct HandleRelease {
  void operator()(Handle* handle) const {
    if (const auto stay = libcurl.enter()) kRelease(handle);
  }
};
template <class Handle, auto kRelease>
using CurlHandle = std::unique_ptr<Handle, HandleRelease<Handle, kRelease>>;

/// A multi handle, which keeps a connection, and the easy handle of the request under way. The connection cache of
/// several threads cannot be shared safely, so each request has a channel to itself.
class Channel {
 public:
  explicit Channel(std::shared_ptr<Share> share);

  /// Gives a request an easy handle of its own: one that is reset still points to header lines of its last transfer,
  /// which libcurl then takes for there. Throws CInternetException.
  void renewEasy();

  CURLM* multi() const { return multi_.get(); }
  CURL* easy() const { return easy_.get(); }

  std::string server;              ///< scheme, host and port it talked to last
  HttpRequest* request = nullptr;  ///< what uses it; null while it is idle
  TransferGroup* group = nullptr;  ///< that the request belongs to, or null
  Socket keptSocket = kNoSocket;   ///< of the connection that the last request has left, if it has

 private:
  std::shared_ptr<Share> share_;
  CurlHandle<CURLM, curl_multi_cleanup> multi_;
  CurlHandle<CURL, curl_easy_cleanup> easy_;
};

extern Mutex poolsMutex;

/// The channels of one session. The first request of a process sets libcurl up. Any thread.
class ChannelPool {
 public:
  ChannelPool() = default;
  ChannelPool(const ChannelPool&) = delete;
  ChannelPool& operator=(const ChannelPool&) = delete;
  ~ChannelPool();

  /// A channel for `request` to `server`, if possible one that talked to it before. Within a stay in libcurl. Throws
  /// CInternetException.
  Channel* acquire(const std::string& server, HttpRequest* request);

  /// Takes back what acquire gave, to be used again or not.
  void release(Channel* channel, bool isReusable) noexcept;

 private:
  friend struct Network;
  using Channels = std::vector<std::unique_ptr<Channel>>;

  static bool isIdle(const std::unique_ptr<Channel>& channel) { return !channel->request; }
  Channels::iterator chooseIdle(const std::string& server) REQUIRES(poolsMutex);

  Channels channels_ GUARDED_BY(poolsMutex);  ///< the one used last at the end
  std::shared_ptr<Share> share_ GUARDED_BY(poolsMutex);
  ChannelPool* next_ GUARDED_BY(poolsMutex) = nullptr;
  bool isListed_ GUARDED_BY(poolsMutex) = false;  ///< from the first request on
};

// See the calls of CInternetSession.
void setUpNetwork() noexcept;
void cutOffTransfers();
void resumeTransfers();
void setNetworkShutDown(void (*shutDown)());

/// Whether the calling thread's transfers are cut off.
bool areTransfersCutOff();

/// Throws CInternetException if the calling thread's transfers are cut off. A multi handle is woken when that happens.
void checkCutOff();

}  // namespace quillmoria
