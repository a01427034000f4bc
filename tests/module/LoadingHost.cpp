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
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "support/RecordingSubscriber.h"
#include "support/Subscriptions.h"

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

int count(const char* folder) {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

/// What a load must not leave behind, but memory.
std::string traces(const char* library) {
  return std::to_string(count("/proc/self/task")) + " threads, " + std::to_string(count("/proc/self/fd")) + " files" +
         (dlopen(library, RTLD_NOLOAD | RTLD_LAZY) ? ", still mapped" : "");
}

void use(const Library& library, const char* base, const char* url) {
  Subscriptions subscriptions;
  RecordingSubscriber subscriber;
  library.connect();
  const std::unique_ptr<NewsServer> server(library.makeServer(subscriptions.add("", {{"feed", url}}).holder(), base));
  library.attach(server.get(), &subscriber);
  library.wait();
  if (subscriber.news().size() != 1 || subscriber.news()[0]->itemCount != 1) fail("the pull delivered nothing");
}

/// Keeps the libraries below the engine loaded: what they and the loader lose at each load is not looked at here.
void keepOthersLoaded() {
  for (const char* library : {"libcurl.so.4", "libexpat.so.1", "libgdk_pixbuf-2.0.so.0"}) {
    if (!dlopen(library, RTLD_NOW | RTLD_LOCAL)) fail(dlerror());
  }
}

void repeat(bool isUsed, const char* file, const char* base, const char* url) {
  keepOthersLoaded();
  std::thread([] {}).join();  // with the first thread a sanitizer starts one of its own
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
  // The factory, one pointer and its block's head, stays of each load; chunks that are rounded up come and go.
  if (grown > 98 * 32 + 1024) fail("memory grows: " + std::to_string(grown) + " bytes in 98 loads");
}

/// Nothing here is freed: the pull may go on after it.
void interrupt(bool byClosing, const char* file, const char* base, const char* url, int step) {
  auto* const library = new Library(file);
  auto* const subscriptions = new Subscriptions;
  auto* const reached = new std::promise<void>;
  auto* const subscriber = new RecordingSubscriber([=, calls = 0](const std::string&) mutable {
    if (++calls != step) return;
    if (byClosing && step % 2) library->close();
    reached->set_value();
  });
  library->connect();
  library->attach(library->makeServer(subscriptions->add("", {{"feed", url}}).holder(), base), subscriber);
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
