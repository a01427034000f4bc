// Pulls feeds as the lines of its standard input say, and tells what came of each; memory.py and soak.py write them.
//
//     pull_host BASE JOBS LIBRARY NAME=URL...
//
//     online, offline       the connected state
//     server                a new server; without it the first pull makes one
//     enable 0|1            the last of the feeds
//     stop N, throw N       at that event of the next pull, or for 0 now
//     pull [one|all|threads N LIST]
//     list URL|FILE         tells how many outlines lie at the top of it, or -1
//
// With more than the word, the N-th allocation of a pull and of the read of a list after it fails, or all from it on,
// or from the N-th thread on none can be started. What LIBRARY allocates never fails.

#include <dlfcn.h>
#include <link.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "quillmoria/OPML.h"
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
  std::uintptr_t exemptBegin = 0;  ///< code of a library that ends the process when it gets no memory
  std::uintptr_t exemptEnd = 0;

  bool allows(const void* caller) {
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    return ofThreads || !armed || (address >= exemptBegin && address < exemptEnd) || allowsNext();
  }
  bool allowsNext() {
    const long number = ++count;
    return onlyOne ? number != first : number < first;
  }
  void* noted(void* memory) {
    if (memory) ++live;
    return memory;
  }
};
constinit Shortage shortage;

}  // namespace

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
/// Called by the exempt library alone.
[[gnu::visibility("default")]] int __vasprintf_chk(char** text, int, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int size = vsnprintf(nullptr, 0, format, again);
  va_end(again);
  *text = static_cast<char*>(shortage.noted(__libc_malloc(static_cast<std::size_t>(size) + 1)));
  return vsnprintf(*text, static_cast<std::size_t>(size) + 1, format, arguments);
}
}

namespace {

constexpr int kDeadlineSeconds = 60;

/// Counts what a pull sends. While memory is short it allocates nothing, if the feeds' names are short, too.
struct Reader : RSSSubscriber {
  void EventReceived(RSSEvent event) override {
    begun += event.GetEventID() == 1;
    ended += event.GetEventID() == 3;
    if (--eventsToStop == 0) server->TerminateNewsPullThread(this);
    if (--eventsToThrow == 0) throw std::runtime_error("no more");
  }
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> news(feed);
    if (!shortage.armed) const RSSObject copy(*news);
    ok += news->statusMessage == "OK";
    ++(news->itemCount < 0 ? failed : news->newItemCount > 0 ? changed : unchanged);
    newItems += news->newItemCount;
    if (news->newItemCount > 0) (newsOf += news->channel.feedName) += ',';
    const CPicture* const picture = news->GetChannelPicture();
    pictures += picture && picture->picture;
  }

  NewsServer* server = nullptr;
  int eventsToStop = 0, eventsToThrow = 0;
  int begun = 0, ended = 0, ok = 0, changed = 0, unchanged = 0, failed = 0, newItems = 0, pictures = 0;
  std::string newsOf;
};

/// The library of this process whose name begins with `name` is allowed every allocation.
int exempt(dl_phdr_info* library, std::size_t, void* name) {
  const std::string_view path = library->dlpi_name;
  if (!path.substr(path.rfind('/') + 1).starts_with(static_cast<const char*>(name))) return 0;
  for (int i = 0; i < library->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = library->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || !(segment.p_flags & PF_X)) continue;
    shortage.exemptBegin = library->dlpi_addr + segment.p_vaddr;
    shortage.exemptEnd = shortage.exemptBegin + segment.p_memsz;
  }
  return 1;
}

class PullHost {
 public:
  PullHost(std::string base, const std::vector<std::pair<std::string, std::string>>& feeds)
      : base_(std::move(base)), lastFeed_(feeds.size() - 1) {
    subscriptions_.add("all", feeds);
  }

  void obey(std::istringstream words) {
    std::string command;
    words >> command;
    if (command == "online") SetConnectedState(ConnectedState::Connected);
    if (command == "offline") SetConnectedState(ConnectedState::Disconnected);
    if (command == "server") server_.reset(), server();
    if (command == "enable") subscriptions_.feed(0, lastFeed_).enabled = (words >> std::ws).get() == '1';
    if (command == "stop") words >> next_->eventsToStop;
    if (command == "stop" && next_->eventsToStop == 0) server().TerminateNewsPullThread(nullptr);
    if (command == "throw") words >> next_->eventsToThrow;
    if (command == "pull") pull(words);
    if (command == "list") readList(words);
  }

 private:
  NewsServer& server() {
    if (!server_) server_.reset(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions_.holder(), base_));
    return *server_;
  }

  /// What a pull that failed has still attached lives on until the end of the next.
  void pull(std::istringstream& words) {
    std::string failing, list;
    words >> failing >> shortage.first >> list;
    shortage.onlyOne = failing == "one";
    shortage.ofThreads = failing == "threads";
    shortage.count = 0;
    last_ = std::exchange(next_, std::make_unique<Reader>());
    OPMLParser parser("");
    bool isRefused = false, hasEnded = true;
    alarm(2 * kDeadlineSeconds);
    shortage.armed = !failing.empty();
    try {
      last_->server = &server();
      server_->AttachSubscriber(last_.get());
      hasEnded = NewsServer::WaitForPulls(kDeadlineSeconds * 1000);
      server_->DetachSubscriber(last_.get());
    } catch (const std::bad_alloc&) {
      isRefused = true;
    }
    try {
      if (shortage.armed) parser.ParseFromURL(list);
    } catch (const std::bad_alloc&) {
    }
    shortage.armed = false;
    tell(*last_, isRefused, hasEnded);
  }

  /// Memory counts without what the allocator keeps for later.
  static void tell(const Reader& pull, bool isRefused, bool hasEnded) {
    const long live = shortage.live;
    malloc_trim(0);
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    std::printf(
        "\n= hangs=%d refused=%d begun=%d ended=%d ok=%d changed=%d unchanged=%d failed=%d new=%d pictures=%d "
        "allocations=%ld live=%ld descriptors=%ld threads=%ld kibibytes=%ld news=%s\n",
        !hasEnded, isRefused, pull.begun, pull.ended, pull.ok, pull.changed, pull.unchanged, pull.failed, pull.newItems,
        pull.pictures, shortage.count.load(), live, entries("/proc/self/fd"), entries("/proc/self/task"),
        resident * getpagesize() / 1024, pull.newsOf.c_str());
  }
  static long entries(const char* folder) {
    return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

  void readList(std::istringstream& words) const {
    std::string list;
    words >> list;
    OPMLParser parser(base_);
    list.starts_with('/') ? parser.ParseFromFile(list) : parser.ParseFromURL(list);
    std::printf("\n= outlines=%zd\n", parser.status == "OK" ? std::ssize(parser.GetOPMLDoc()->outlines) : -1);
  }

  const std::string base_;
  const std::size_t lastFeed_;
  Subscriptions subscriptions_;
  std::unique_ptr<Reader> last_, next_ = std::make_unique<Reader>();
  std::unique_ptr<NewsServer> server_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) return 2;
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  std::vector<std::pair<std::string, std::string>> feeds;
  for (int i = 4; i < argc; ++i) {
    const std::string feed = argv[i];
    feeds.emplace_back(feed.substr(0, feed.find('=')), feed.substr(feed.find('=') + 1));
  }
  dl_iterate_phdr(exempt, argv[3]);
  NewsServer::SetParallelFetches(std::atoi(argv[2]), std::atoi(argv[2]));
  PullHost host(argv[1], feeds);
  for (std::string line; std::getline(std::cin, line);) host.obey(std::istringstream(line));
}
