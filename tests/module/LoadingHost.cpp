// Loads the library by hand and uses it in one of several ways; LoadTest.cpp runs it and looks at its exit status.
//
//     module_host unused|used LIBRARY BASE URL      a hundred times in one process
//     module_host close|leave LIBRARY BASE URL N    lets go of the library, or leaves main, at the N-th callback of a
//     pull

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>

#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"

namespace {

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::_Exit(1);
}

/// The loaded library and those of its functions that a pull takes.
class Library {
 public:
  explicit Library(const char* file) : handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (!handle_) fail(dlerror());
  }
  void close() { dlclose(handle_); }

  NewsServer* makeServer(RSSObject::CategoryHolderStruct categories, const std::string& base) const {
    const auto getFactory = function<NewsServerFactory*()>("_ZN17NewsServerFactory10GetFactoryEv");
    return function<NewsServer*(NewsServerFactory*, RSSObject::CategoryHolderStruct, std::string)>(
        "_ZN17NewsServerFactory13GetNewsServerEN9RSSObject20CategoryHolderStructENSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEE")(getFactory(), categories, base);
  }
  void attach(NewsServer* server, RSSSubscriber* subscriber) const {
    function<void(NewsServer*, RSSSubscriber*)>("_ZN10NewsServer16AttachSubscriberEP13RSSSubscriber")(server,
                                                                                                      subscriber);
  }
  void connect() const {
    function<void(ConnectedState)>("_Z17SetConnectedState14ConnectedState")(ConnectedState::Connected);
  }
  void wait() const { function<bool(std::int32_t)>("_ZN10NewsServer12WaitForPullsEi")(-1); }

 private:
  template <class Signature>
  Signature* function(const char* name) const {
    void* const symbol = dlsym(handle_, name);
    if (!symbol) fail(std::string("no symbol ") + name);
    return reinterpret_cast<Signature*>(symbol);
  }

  void* handle_;
};

class Subscriber : public RSSSubscriber {
 public:
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    if (feed->itemCount == 1) ++feeds;
    delete feed;
    count();
  }
  void EventReceived(RSSEvent) override { count(); }

  int feeds = 0;
  int callAt = 0;
  std::function<void()> call;

 private:
  void count() {
    if (++calls_ == callAt) call();
  }
  int calls_ = 0;
};

struct Subscription {
  explicit Subscription(const char* url) {
    feed.name = "feed";
    feed.url = url;
    feed.enabled = 1;
    category.feeds = &feed;
    category.feedCount = 1;
    holder.categories = &category;
    holder.categoryCount = 1;
  }
  RSSObject::NewsFeed feed;
  RSSObject::NewsFeedsPerCategoryStruct category;
  RSSObject::CategoryHolderStruct holder;
};

int count(const char* folder) {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

/// What a load must not leave behind, but memory.
std::string traces(const char* library) {
  return std::to_string(count("/proc/self/task")) + " threads, " + std::to_string(count("/proc/self/fd")) + " files" +
         (dlopen(library, RTLD_NOLOAD | RTLD_LAZY) ? ", still mapped" : "");
}

void use(const Library& library, const char* base, const char* url) {
  Subscription subscription(url);
  Subscriber subscriber;
  library.connect();
  const std::unique_ptr<NewsServer> server(library.makeServer(subscription.holder, base));
  library.attach(server.get(), &subscriber);
  library.wait();
  if (subscriber.feeds != 1) fail("the pull delivered nothing");
}

/// Keeps the libraries below the engine loaded: what they and the loader lose at each load is not looked at here.
void keepOthersLoaded() {
  for (const char* library : {"libcurl.so.4", "libexpat.so.1", "libgdk_pixbuf-2.0.so.0"}) {
    if (!dlopen(library, RTLD_NOW | RTLD_LOCAL)) fail(dlerror());
  }
}

void repeat(bool isUsed, const char* file, const char* base, const char* url) {
  keepOthersLoaded();
  const std::string before = traces(file);
  std::size_t memory = 0;
  for (int i = 1; i <= 100; ++i) {
    Library library(file);
    if (isUsed) use(library, base, url);
    library.close();
    if (i == 2) memory = mallinfo2().uordblks;
  }
  if (traces(file) != before) fail("left behind: " + traces(file) + " after " + before);
  const auto grown = static_cast<long>(mallinfo2().uordblks - memory);
  std::printf("grown by %ld bytes\n", grown);
  // The factory, one pointer and its block's head, stays of each load; chunks that are rounded up come and go.
  if (grown > 98 * 32 + 1024) fail("memory grows: " + std::to_string(grown) + " bytes in 98 loads");
}

/// Nothing here is freed: the pull may go on after it.
void interrupt(bool byClosing, const char* file, const char* base, const char* url, int step) {
  auto* const library = new Library(file);
  auto* const subscription = new Subscription(url);
  auto* const subscriber = new Subscriber;
  auto* const reached = new std::promise<void>;
  subscriber->callAt = step;
  subscriber->call = [=] {
    if (byClosing && step % 2) library->close();
    reached->set_value();
  };
  library->connect();
  library->attach(library->makeServer(subscription->holder, base), subscriber);
  reached->get_future().wait();
  if (byClosing && step % 2 == 0) library->close();
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) fail("usage: module_host MODE LIBRARY BASE URL [STEP]");
  const std::string mode = arguments[1];
  if (mode == "unused" || mode == "used") {
    repeat(mode == "used", arguments[2], arguments[3], arguments[4]);
  } else {
    interrupt(mode == "close", arguments[2], arguments[3], arguments[4], std::atoi(arguments[5]));
  }
}
