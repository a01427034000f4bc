// Pulls thousands of times in one process, and prints what the process holds after each pull. soak.py serves the feeds
// and compares.
//
//     soak_host PULLS JOBS BASE SERVER REFUSED

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "quillmoria/OPML.h"
#include "support/Subscriptions.h"

namespace {

constexpr int kFeeds = 20;

/// What a round has beside its pull: one in so many.
constexpr int kOffline = 7, kStopped = 11, kThrown = 13, kLists = 5, kServer = 3, kImages = 10, kRefusals = 100;

class Reader : public RSSSubscriber {
 public:
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> news(feed);
    const RSSObject copy(*news);
    const CPicture* const picture = copy.GetChannelPicture();
    ++(copy.itemCount < 0 ? failed : copy.newItemCount > 0 ? changed : unchanged);
    if (picture && picture->picture) ++pictures;
  }
  void EventReceived(RSSEvent) override {
    if (--eventsToStop == 0) stopper->TerminateNewsPullThread(this);
    if (--eventsToThrow == 0) throw std::runtime_error("no more");
  }

  NewsServer* stopper = nullptr;
  int eventsToStop = 0, eventsToThrow = 0;
  long changed = 0, unchanged = 0, failed = 0, pictures = 0;
};

class Soak {
 public:
  Soak(int jobs, std::string base, std::string server, const std::string& refused)
      : base_(std::move(base)), url_(std::move(server)) {
    NewsServer::SetParallelFetches(jobs, jobs);
    std::vector<std::pair<std::string, std::string>> feeds;
    for (int i = 1; i < kFeeds; ++i) feeds.emplace_back("feed " + std::to_string(i), url_ + "/" + std::to_string(i));
    feeds.emplace_back("refused", refused);
    subscriptions_.add("all", feeds);
  }

  void round(int number) {
    const auto isDue = [number](int every) { return number % every == 0; };
    if (!server_ || isDue(kServer)) {
      server_.reset(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions_.holder(), base_));
    }
    SetConnectedState(isDue(kOffline) ? ConnectedState::Disconnected : ConnectedState::Connected);
    subscriptions_.feed(0, kFeeds - 1).enabled = isDue(kRefusals);
    if (isDue(kImages)) std::filesystem::remove(base_ + "/feed_imgs/logo.png");
    reader_.stopper = server_.get();
    reader_.eventsToStop = isDue(kStopped) ? number % 40 + 1 : 0;
    reader_.eventsToThrow = isDue(kThrown) ? number % 40 + 1 : 0;
    server_->AttachSubscriber(&reader_);
    NewsServer::WaitForPulls(-1);
    server_->DetachSubscriber(&reader_);
    if (isDue(kLists)) readLists();
  }

  /// Memory counts without what the allocator keeps for later.
  void print() const {
    malloc_trim(0);
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    std::printf("%ld %ld %ld %ld %ld %ld %ld\n", entries("/proc/self/fd"), entries("/proc/self/task"), resident,
                reader_.changed, reader_.unchanged, reader_.failed, reader_.pictures);
  }

 private:
  static long entries(const char* folder) {
    return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

  void readLists() const {
    OPMLParser parser(base_);
    parser.ParseFromURL(url_ + "/list");
    parser.ParseFromFile(base_ + "/list.opml");
    if (parser.GetOPMLDoc()->outlines.size() != 2) throw std::runtime_error("the list was not read");
  }

  const std::string base_, url_;
  Subscriptions subscriptions_;
  Reader reader_;
  std::unique_ptr<NewsServer> server_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 6) return 2;
  Soak soak(std::atoi(arguments[2]), arguments[3], arguments[4], arguments[5]);
  for (int number = 1; number <= std::atoi(arguments[1]); ++number) {
    soak.round(number);
    soak.print();
  }
}
