#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "DemoServer.h"
#include "Subscribing.h"
#include "quillmoria/ConnectedState.h"
#include "reader/Archives.h"
#include "reader/EventStream.h"
#include "reader/Notices.h"
#include "reader/Pictures.h"
#include "reader/Refresher.h"

namespace quillmoria {

/// The feeds that pages offered which users have asked for, until they choose one. Any thread.
class Offers {
 public:
  /// Keeps `offer` as what the user was given for `typed`; the last few are kept.
  void keep(const std::string& typed, const FeedOffer& offer);

  /// What was found for `typed`; nothing if that was not asked for, or long ago.
  std::optional<FeedOffer> find(const std::string& typed) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, FeedOffer> offers_;
};

/// The server of the sample feeds, which runs where it is needed. Any thread.
class SampleServer {
 public:
  /// Serves them again at the port at which they are subscribed to, if they are and it is free.
  explicit SampleServer(const std::string& baseFolder);

  /// The server's address; starts it first. Throws Failure.
  std::string address();

 private:
  std::mutex mutex_;
  std::unique_ptr<DemoServer> server_;
};

/// What the reader's pages and forms work on.
struct ReaderState {
  ReaderState(const std::string& folder, ConnectedState connected, std::optional<std::chrono::minutes> interval)
      : baseFolder(folder),
        archives(folder),
        samples(folder),
        refresher(folder, connected, interval, events, pictures) {}

  const std::string baseFolder;
  Archives archives;
  Notices notices;
  Pictures pictures;
  EventStream events;
  Offers offers;
  SampleServer samples;
  Refresher refresher;
};

}  // namespace quillmoria
