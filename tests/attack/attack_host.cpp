// A host that loads the library by hand, for the scripts of this folder.
//
//     attack_host LIBRARY BASE URL soak JOBS PULLS once|reload
//     attack_host LIBRARY BASE URL short JOBS one|all|threads N ROUNDS
//     attack_host LIBRARY BASE URL HOW MICROSECONDS list|feed|picture
//     attack_host LIBRARY BASE URL HOW MICROSECONDS callback|thread|main JOBS CALL
//
// The profile is that of the environment's QUILLMORIA_PROFILE. Feeds are named 0, 1, 2, …, and stand at URL0, URL1,
// URL2, …, the list at URLlist. HOW a host ends is told at `end`.

#include <dlfcn.h>
#include <link.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "quillmoria/OPML.h"
#include "quillmoria/Profile.h"
#include "support/Subscriptions.h"

namespace {

/// Which allocations fail. None until it is armed.
struct Shortage {
  std::atomic<bool> armed = false;
  std::atomic<long> count = 0;
  std::atomic<long> live = 0;
  long first = 0;
  bool onlyOne = true;
  bool ofThreads = false;

  bool allows(void* caller) { return ofThreads || !armed || isOfGLib(caller) || allowsNext(); }
  bool allowsNext() {
    const long number = ++count;
    return onlyOne ? number != first : number < first;
  }
  /// GLib ends the process when it gets no memory.
  static bool isOfGLib(void* caller) {
    dl_find_object object;
    return _dl_find_object(caller, &object) == 0 && std::strstr(object.dlfo_link_map->l_name, "/libglib-2.0.so");
  }
  void* noted(void* memory) {
    if (memory) ++live;
    return memory;
  }
};
constinit Shortage shortage;

}  // namespace

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // these have allocators of their own
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);

void* refused() {
  errno = ENOMEM;
  return nullptr;
}
void* malloc(std::size_t size) {
  return shortage.allows(__builtin_return_address(0)) ? shortage.noted(__libc_malloc(size)) : refused();
}
void* calloc(std::size_t count, std::size_t size) {
  return shortage.allows(__builtin_return_address(0)) ? shortage.noted(__libc_calloc(count, size)) : refused();
}
void* realloc(void* memory, std::size_t size) {
  if (!shortage.allows(__builtin_return_address(0))) return refused();
  void* const moved = __libc_realloc(memory, size);
  return memory ? moved : shortage.noted(moved);
}
void free(void* memory) {
  if (memory) --shortage.live;
  __libc_free(memory);
}
[[gnu::visibility("default")]] int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                                  void* (*start)(void*), void* argument) {
  if (shortage.ofThreads && shortage.armed && !shortage.allowsNext()) return EAGAIN;
  static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return create(thread, attributes, start, argument);
}
/// Called by GLib alone.
[[gnu::visibility("default")]] int __vasprintf_chk(char** text, int, const char* format, va_list arguments) {
  constexpr std::size_t kMaxText = 4096;
  *text = static_cast<char*>(shortage.noted(__libc_malloc(kMaxText)));
  return vsnprintf(*text, kMaxText, format, arguments);
}
}
#endif

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::_Exit(1);
}

/// The loaded library and those of its functions that a host takes. They are looked up while it is loaded: a thread may
/// go on to use them beyond that.
struct Library {
  explicit Library(const char* file) : handle(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (!handle) fail(dlerror());
    const char* const profile = std::getenv("QUILLMORIA_PROFILE");
    if (profile && profile == std::string("modern")) setProfile(Profile::Modern);
  }
  void close() const { dlclose(handle); }

  /// The address of a function, whatever its type.
  struct Symbol {
    void* address;
    template <class Signature>
    operator Signature*() const {
      return reinterpret_cast<Signature*>(address);
    }
  };
  Symbol function(const std::string& name) const {
    void* const address = dlsym(handle, name.c_str());
    if (!address) fail("no symbol " + name);
    return {address};
  }

  using Text = std::string;
  const std::string text = "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";
  void* const handle;
  void (*const setState)(ConnectedState) = function("_Z17SetConnectedState14ConnectedState");
  void (*const setProfile)(Profile) = function("_ZN10quillmoria10SetProfileENS_7ProfileE");
  void (*const fetchAhead)(int, int) = function("_ZN10NewsServer18SetParallelFetchesEii");
  NewsServerFactory* (*const getFactory)() = function("_ZN17NewsServerFactory10GetFactoryEv");
  NewsServer* (*const makeServer)(NewsServerFactory*, RSSObject::CategoryHolderStruct, Text) =
      function("_ZN17NewsServerFactory13GetNewsServerEN9RSSObject20CategoryHolderStructE" + text);
  void (*const attach)(NewsServer*, RSSSubscriber*) = function("_ZN10NewsServer16AttachSubscriberEP13RSSSubscriber");
  void (*const detach)(NewsServer*, RSSSubscriber*) = function("_ZN10NewsServer16DetachSubscriberEP13RSSSubscriber");
  void (*const stop)(NewsServer*, void*) = function("_ZN10NewsServer23TerminateNewsPullThreadEP13RSSSubscriber");
  bool (*const wait)(int) = function("_ZN10NewsServer12WaitForPullsEi");
  void (*const makeList)(void*, Text) = function("_ZN10OPMLParserC1E" + text);
  void (*const readList)(OPMLParser*, Text) = function("_ZN10OPMLParser12ParseFromURLE" + text);
  void (*const makeFeed)(void*, RSSObject::NewsFeed, Text,
                         Text) = function("_ZN9RSSObjectC1ENS_8NewsFeedE" + text + "S6_");
  void (*const makePicture)(void*) = function("_ZN8CPictureC1Ev");
  bool (*const loadPicture)(CPicture*, Text, Text) = function("_ZN8CPicture11LoadFromURLE" + text + "S5_");
  void (*const destroyPicture)(CPicture*) = function("_ZN8CPictureD1Ev");
};

/// Counts what a pull sends, and does something at one of its calls. Allocates nothing.
struct Reader : RSSSubscriber {
  void EventReceived(RSSEvent event) override {
    begun += event.GetEventID() == 1;
    ended += event.GetEventID() == 3;
    if (--callsToAct == 0) act();
  }
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> news(feed);
    ok += news->statusMessage == "OK";
    ++(news->itemCount < 0 ? failed : news->newItemCount > 0 ? changed : unchanged);
    newItems += news->newItemCount;
    if (news->newItemCount > 0) newsOf |= 1U << (news->channel.feedName.front() - '0');
    pictures += news->channelPicture && news->channelPicture->picture;
    if (--callsToAct == 0) act();
  }

  int callsToAct = 0;
  std::function<void()> act;
  int begun = 0, ended = 0, ok = 0, changed = 0, unchanged = 0, failed = 0, newItems = 0, pictures = 0;
  unsigned newsOf = 0;  ///< a bit a feed
};

/// Destroys what the library has made in room of ours.
struct Destroy {
  template <class Object>
  void operator()(Object* object) const {
    object->~Object();
  }
};

struct Host {
  explicit Host(char** arguments) : library(arguments[1]), base(arguments[2]), url(arguments[3]) {}

  /// The subscriptions are to outlive the server.
  std::unique_ptr<NewsServer> makeServer(Subscriptions& feeds, int count) const {
    if (feeds.holder().categoryCount == 0) {
      std::vector<std::pair<std::string, std::string>> all;
      for (int i = 0; i < count; ++i) all.emplace_back(std::to_string(i), url + std::to_string(i));
      feeds.add("", all);
    }
    return std::unique_ptr<NewsServer>(library.makeServer(library.getFactory(), feeds.holder(), base));
  }
  void pull(NewsServer* server, Reader& reader) const {
    library.attach(server, &reader);
    if (!library.wait(60'000)) fail("a pull does not end");
    library.detach(server, &reader);
  }
  /// Fetches by a call of the host's own, looks at what came of it, and destroys it.
  bool fetch(const std::string& what, const std::string& source) const {
    alignas(std::max_align_t) std::byte room[std::max({sizeof(OPMLParser), sizeof(RSSObject), sizeof(CPicture)})];
    if (what == "list") {
      library.makeList(room, base);
      const std::unique_ptr<OPMLParser, Destroy> list(reinterpret_cast<OPMLParser*>(room));
      library.readList(list.get(), source);
      return list->status == "OK";
    }
    if (what == "feed") {
      RSSObject::NewsFeed subscription;
      subscription.url = source;
      library.makeFeed(room, subscription, "", base);
      const std::unique_ptr<RSSObject, Destroy> feed(reinterpret_cast<RSSObject*>(room));
      return feed->statusMessage == "OK" && feed->parsedItems.empty();
    }
    library.makePicture(room);
    const std::unique_ptr<CPicture, void (*)(CPicture*)> picture(reinterpret_cast<CPicture*>(room),
                                                                 library.destroyPicture);
    return library.loadPicture(picture.get(), source, base) && picture->picture;
  }

  const Library library;
  const std::string base, url;
};

long entries(const std::string& folder) { return std::distance(fs::directory_iterator(folder), {}); }

void removePictures(const std::string& base) {
  for (const auto& picture : fs::directory_iterator(base + "/feed_imgs")) fs::remove(picture);
}

/// Many pulls of twenty feeds, of which some fail, are stopped, or end with an exception; with `reloads`, each with the
/// library loaded anew. Tells of each what the process holds after it, and what came of its feeds.
int soak(char** arguments, int jobs, int pulls, bool reloads) {
  // What these and the loader lose at each load is not looked at.
  for (const char* other : {"libcurl.so.4", "libexpat.so.1", "libgdk_pixbuf-2.0.so.0"}) dlopen(other, RTLD_NOW);
  Subscriptions feeds;
  std::optional<Host> host;
  std::unique_ptr<NewsServer> server;
  for (int number = 1; number <= pulls; ++number) {
    const auto isDue = [&](int every) { return number % every == 0; };
    if (!host) host.emplace(arguments);
    if (isDue(3) || !server) server = host->makeServer(feeds, 20);
    host->library.fetchAhead(jobs, jobs);
    host->library.setState(isDue(7) ? ConnectedState::Disconnected : ConnectedState::Connected);
    feeds.feed(0, 19).enabled = isDue(100);
    if (isDue(10)) removePictures(host->base);
    Reader reader;
    if (isDue(11)) reader.act = [&] { host->library.stop(server.get(), nullptr); };
    if (isDue(13)) reader.act = [] { throw std::runtime_error("no more"); };
    if (reader.act) reader.callsToAct = number % 40 + 1;
    host->pull(server.get(), reader);
    if (isDue(5) && !host->fetch("list", host->url + "list")) fail("the list was not read");
    if (reloads) {
      server.reset();
      host->library.wait(-1);  // what fetched a list keeps the library
      host->library.close();
      host.reset();
      if (dlopen(arguments[1], RTLD_NOLOAD | RTLD_LAZY)) fail("the library stays");
    }
    malloc_trim(0);  // memory counts without what the allocator keeps for later
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    std::printf("%ld %ld %ld %ld %d %d %d %d\n", entries("/proc/self/fd"), entries("/proc/self/task"),
                resident * getpagesize() / 1024, shortage.live.load(), reader.changed, reader.unchanged, reader.failed,
                reader.pictures);
  }
  return 0;
}

/// Pulls two feeds and reads a list while memory is short, then again without that, which must be right; several rounds
/// with a pull before them must not grow. Returns whether there was an N-th allocation.
bool runShort(const Host& host, const std::string& failing, int jobs, int first, int rounds) {
  constexpr int kMaxRounds = 8;
  const auto copying = fs::copy_options::recursive | fs::copy_options::overwrite_existing;
  std::array<Reader, 1 + 2 * kMaxRounds> readers;  // what a pull that failed has still attached lives on
  std::array<long, kMaxRounds> live{};
  Reader* reader = readers.data();
  Subscriptions feeds;
  shortage.onlyOne = failing == "one";
  shortage.ofThreads = failing == "threads";
  shortage.first = first;
  host.library.fetchAhead(jobs, jobs);
  host.library.setState(ConnectedState::Connected);
  if (rounds > 1) host.pull(host.makeServer(feeds, 2).get(), *reader++);
  for (int round = 0; round < rounds; ++round) {
    for (const char* log : {"-wal", "-shm"}) fs::remove(host.base + "/archive.sqlite" + log);
    fs::copy(host.base + "/old", host.base, copying);
    removePictures(host.base);
    Reader &hit = *reader++, &next = *reader++;
    shortage.count = 0;
    shortage.armed = true;
    try {
      host.pull(host.makeServer(feeds, 2).get(), hit);
      host.fetch("list", host.url + "list");
    } catch (const std::bad_alloc&) {
    }
    shortage.armed = false;
    host.library.wait(-1);
    if (!host.fetch("list", host.url + "list")) fail("the list cannot be read again");
    host.pull(host.makeServer(feeds, 2).get(), next);
    if (next.begun != 1 || next.ended != 1 || next.ok != 2 || (hit.newsOf | next.newsOf) != 3 ||
        next.newItems != std::popcount(next.newsOf)) {
      fail("the next pull is wrong");
    }
    if (entries(host.base + "/cache") != entries(host.base + "/old/cache")) fail("a file is left over");
    live[static_cast<std::size_t>(round)] = shortage.live;
  }
  if (rounds > 1 && std::is_sorted(live.begin(), live.begin() + rounds, std::less_equal<>())) fail("the process grows");
  return shortage.count >= shortage.first;
}

/// Lets go of the library (close), ends (leave, exit, quick_exit, _exit, kill), or has a child that ends (fork), and
/// tells when.
void end(const std::string& how, const Library& library) {
  const std::chrono::duration<double> now = std::chrono::steady_clock::now().time_since_epoch();
  dprintf(STDOUT_FILENO, "%.6f\n", now.count());
  if (how == "close") library.close();
  if (how == "exit") std::exit(0);
  if (how == "quick_exit") std::quick_exit(0);
  if (how == "_exit") std::_Exit(0);
  if (how == "kill") raise(SIGKILL);
  if (how != "fork") return;
  const pid_t child = fork();
  if (child == 0) std::exit(0);
  int status = 0;
  if (waitpid(child, &status, 0) != child || status != 0) fail("the child fails to end");
}

/// Ends while a thread of the host's own fetches, again and again unless the library goes: then a byte says that it has
/// begun. Nothing here is freed: the thread goes on.
void endUnderFetch(const Host& host, const std::string& how, useconds_t delay, const std::string& what) {
  auto* const over = new std::promise<void>;
  host.library.setState(ConnectedState::Connected);
  std::thread([=, &host] {
    int number = 0;
    do host.fetch(what, host.url + std::to_string(++number));
    while (how != "close");
    over->set_value();
  }).detach();
  if (how == "close") std::getchar();
  usleep(delay);
  end(how, host.library);
  // The call may come back to a library that was let go of.
  if (how == "close") over->get_future().wait_for(std::chrono::milliseconds(150));
}

/// Ends after a call of a pull of ten feeds: within the callback, or while the pull goes on, on another thread or on
/// that of main. Nothing here is freed: it may go on.
void endUnderPull(const Host& host, const std::string& how, useconds_t delay, const std::string& where, int jobs,
                  int call) {
  auto* const reached = new std::promise<void>;
  auto* const reader = new Reader;
  const auto act = [=, &host] {
    usleep(delay);
    end(how, host.library);
  };
  reader->callsToAct = call;
  reader->act = [=] {
    if (where == "callback") act();
    reached->set_value();
  };
  host.library.fetchAhead(jobs, jobs);
  host.library.setState(ConnectedState::Connected);
  host.library.attach(host.makeServer(*new Subscriptions, 10).release(), reader);
  reached->get_future().wait();
  if (where == "thread") std::thread(act).join();
  if (where == "main") act();
}

}  // namespace

int main(int count, char** arguments) {
  const std::string how = arguments[4];
  const auto number = [&](int at) { return std::atoi(arguments[at]); };
  if (how == "soak") return soak(arguments, number(5), number(6), arguments[7] == std::string("reload"));
  const Host& host = *new Host(arguments);
  if (how == "short") return runShort(host, arguments[6], number(5), number(7), number(8)) ? 0 : 2;
  const auto delay = static_cast<useconds_t>(number(5));
  count == 7 ? endUnderFetch(host, how, delay, arguments[6])
             : endUnderPull(host, how, delay, arguments[6], number(7), number(8));
}
