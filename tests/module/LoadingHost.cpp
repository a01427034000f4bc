// Loads the library by hand and uses it in one of several ways; attack/loads.py and attack/ends.py run it and look
// at its exit status.
//
//     module_host unused|used LIBRARY BASE URL      a hundred times in one process
//     module_host close|leave|exit|quick_exit|_exit|fork LIBRARY BASE URL callback|thread|main JOBS CALL MICROSECONDS
//
// The second lets go of the library, ends, or has a child that does, that long after the given call of a pull of ten
// feeds: within the callback, or while the pull goes on, on another thread or on that of main.

#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

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
  void fetchAhead(std::int32_t feeds) const {
    function<void(std::int32_t, std::int32_t)>("_ZN10NewsServer18SetParallelFetchesEii")(feeds, feeds);
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

void end(const std::string& how, Library& library) {
  if (how == "close") library.close();
  if (how == "exit") std::exit(0);
  if (how == "quick_exit") std::quick_exit(0);
  if (how == "_exit") std::_Exit(0);
  if (how != "fork") return;
  const pid_t child = fork();
  if (child == 0) std::exit(0);
  int status = 0;
  if (waitpid(child, &status, 0) != child || status != 0) fail("the child fails to end");
}

/// Nothing here is freed: the pull may go on after it.
void interrupt(char** arguments) {
  const std::string how = arguments[1], where = arguments[5], url = arguments[4];
  const int call = std::atoi(arguments[7]), microseconds = std::atoi(arguments[8]);
  auto* const library = new Library(arguments[2]);
  auto* const subscriptions = new Subscriptions;
  auto* const reached = new std::promise<void>;
  const auto act = [=] {
    usleep(static_cast<useconds_t>(microseconds));
    end(how, *library);
  };
  auto* const subscriber = new RecordingSubscriber([=, calls = 0](const std::string&) mutable {
    if (++calls != call) return;
    if (where == "callback") act();
    reached->set_value();
  });
  std::vector<std::pair<std::string, std::string>> feeds;
  for (char feed = '0'; feed <= '9'; ++feed) feeds.emplace_back(std::string(1, feed), url + feed);
  library->connect();
  library->fetchAhead(std::atoi(arguments[6]));
  library->attach(library->makeServer(subscriptions->add("", feeds).holder(), arguments[3]), subscriber);
  reached->get_future().wait();
  if (where == "thread") std::thread(act).join();
  if (where == "main") act();
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) fail("usage: module_host MODE LIBRARY BASE URL [WHERE JOBS CALL MICROSECONDS]");
  const std::string mode = arguments[1];
  if (mode == "unused" || mode == "used") {
    repeat(mode == "used", arguments[2], arguments[3], arguments[4]);
  } else if (count == 9) {
    interrupt(arguments);
  }
}
