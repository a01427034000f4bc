// Pulls two feeds while memory runs out; memory.py runs it, serves the feeds and says what BASE holds.
//
//     memory_host BASE URL one|all|threads cold|warm|leak JOBS FIRST STEP LIBRARY
//
// In a child process each, the n-th allocation of a pull (or all from it on) fails, for n = FIRST, FIRST + STEP … until
// none is reached; in warm ones a pull goes before. Then the next pull must be right, whatever came of the first. With
// leak, pulls that fail alternate with others in one process, which must not grow. With threads, it is the n-th thread
// and all from it on that cannot be started. What LIBRARY allocates never fails.

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
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

constexpr const char* kFeeds[] = {"one", "two"};
constexpr int kDeadlineSeconds = 60;

/// What a child tells its parent.
struct Report {
  long allocations;
  int whole, partly, ended, refused;
};
Report* report;

struct Attack {
  std::filesystem::path base;
  std::string url;
  bool warm, leak;
  Subscriptions subscriptions;
};

[[noreturn]] void fail(long n, const std::string& what) {
  std::printf("%ld: %s\n", n, what.c_str());
  std::fflush(stdout);
  std::_Exit(1);
}

/// Counts what a pull sends, without allocating.
struct Tally : RSSSubscriber {
  int begun = 0, ended = 0, feeds = 0, failed = 0, newItems = 0;
  bool newsOf[2] = {};

  void EventReceived(RSSEvent event) override {
    begun += event.GetEventID() == 1;
    ended += event.GetEventID() == 3;
  }
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> owned(feed);
    ++feeds;
    failed += feed->statusMessage != "OK";
    newItems += feed->newItemCount;
    if (feed->newItemCount > 0) newsOf[feed->channel.feedName == kFeeds[1]] = true;
  }
};

std::string bytesOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Both feeds as they were, and no picture.
void restore(const Attack& attack) {
  for (const char* feed : kFeeds) {
    std::filesystem::copy_file(attack.base / "old" / feed, attack.base / "cache" / feed,
                               std::filesystem::copy_options::overwrite_existing);
  }
  for (const auto& picture : std::filesystem::directory_iterator(attack.base / "feed_imgs")) remove(picture.path());
}

bool pull(NewsServer& server, Tally& tally) {
  server.AttachSubscriber(&tally);
  const bool hasEnded = NewsServer::WaitForPulls(kDeadlineSeconds * 1000);
  server.DetachSubscriber(&tally);
  return hasEnded;
}

NewsServer* makeServer(Attack& attack) {
  return NewsServerFactory::GetFactory()->GetNewsServer(attack.subscriptions.holder(), attack.base.string());
}

/// Memory runs out during one pull and the read of a list; true if it was asked for as often as that.
bool pullAndRead(Attack& attack, long n, std::unique_ptr<NewsServer>& server, Tally& tally) {
  bool isRefused = false;
  OPMLParser parser("");
  shortage.first = n;
  shortage.count = 0;
  shortage.armed = true;
  try {
    if (!server) server.reset(makeServer(attack));
    if (!pull(*server, tally)) fail(n, "the pull does not end");
  } catch (const std::bad_alloc&) {
    isRefused = true;
  }
  try {
    parser.ParseFromURL(attack.url + "/list");
  } catch (const std::bad_alloc&) {
  }
  shortage.armed = false;
  report->allocations = shortage.count;
  ++(isRefused ? report->refused : !tally.ended ? report->ended : tally.failed ? report->partly : report->whole);
  parser.ParseFromURL(attack.url + "/list");
  if (parser.status != "OK" || parser.GetOPMLDoc()->outlines.size() != 1) fail(n, "the list cannot be read again");
  return shortage.count >= n;
}

/// The cache files are whole, what is in them has been told, and the next pull is right.
void checkWhatIsLeft(Attack& attack, long n, std::unique_ptr<NewsServer>& server, const Tally& before) {
  int expected = 0;
  for (int i = 0; i < 2; ++i) {
    const std::string bytes = bytesOf(attack.base / "cache" / kFeeds[i]);
    const bool isOld = bytes == bytesOf(attack.base / "old" / kFeeds[i]);
    if (!isOld && bytes != bytesOf(attack.base / "new" / kFeeds[i])) fail(n, "a cache file is neither old nor new");
    if (!isOld && !before.newsOf[i]) fail(n, "a new item is stored that nobody was told of");
    expected += isOld;
  }
  if (std::distance(std::filesystem::directory_iterator(attack.base / "cache"), {}) != 2)
    fail(n, "a file is left over");
  if (!server) server.reset(makeServer(attack));
  server->TerminateNewsPullThread(nullptr);  // no pull is left that this could stop
  Tally tally;
  if (!pull(*server, tally)) fail(n, "the next pull does not end");
  if (tally.begun != 1 || tally.ended != 1 || tally.feeds != 2 || tally.failed != 0 || tally.newItems != expected) {
    fail(n, "the next pull is wrong: begun " + std::to_string(tally.begun) + ", ended " + std::to_string(tally.ended) +
                ", feeds " + std::to_string(tally.feeds) + ", failed " + std::to_string(tally.failed) + ", new " +
                std::to_string(tally.newItems) + " of " + std::to_string(expected));
  }
}

bool attempt(Attack& attack, long n) {
  alarm(2 * kDeadlineSeconds);
  std::unique_ptr<NewsServer> server;
  if (attack.warm) {
    Tally tally;
    server.reset(makeServer(attack));
    if (!pull(*server, tally)) fail(n, "the first pull does not end");
  }
  constexpr int kRounds = 4;
  long live[kRounds] = {};
  bool isReached = false;
  for (long& after : live) {
    restore(attack);
    Tally tally;
    isReached = pullAndRead(attack, n, server, tally);
    checkWhatIsLeft(attack, n, server, tally);
    after = shortage.live;
    if (!attack.leak) return isReached;
  }
  if (live[0] < live[1] && live[1] < live[2] && live[2] < live[3]) {
    fail(n, "the process grows by " + std::to_string(live[3] - live[2]) + " allocations");
  }
  return isReached;
}

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

}  // namespace

int main(int argc, char** argv) {
  if (argc < 9) return 2;
  const std::string_view history = argv[4];
  Attack attack{argv[1], argv[2], history != "cold", history == "leak", {}};
  attack.subscriptions.add("", {{kFeeds[0], attack.url + "/one"}, {kFeeds[1], attack.url + "/two"}});
  shortage.onlyOne = argv[3] == std::string_view("one");
  shortage.ofThreads = argv[3] == std::string_view("threads");
  dl_iterate_phdr(exempt, argv[8]);
  SetConnectedState(ConnectedState::Connected);
  NewsServer::SetParallelFetches(std::atoi(argv[5]), 8);
  report =
      static_cast<Report*>(mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

  constexpr int kNotReached = 3;
  constexpr int kFaultsShown = 20;
  int failures = 0;
  long tried = 0;
  int status = 0;
  for (long n = std::atol(argv[6]); status != kNotReached && failures < kFaultsShown;
       n += std::atol(argv[7]), ++tried) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) std::exit(attempt(attack, n) ? 0 : kNotReached);
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) std::printf("%ld: ended by signal %d\n", n, WTERMSIG(status));
    status = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    failures += status != 0 && status != kNotReached;
  }
  std::printf("%ld tried of %ld: %d pulls whole, %d with a failed feed, %d ended, %d calls refused, %d faults\n", tried,
              report->allocations, report->whole, report->partly, report->ended, report->refused, failures);
  return failures ? 1 : 0;
}
