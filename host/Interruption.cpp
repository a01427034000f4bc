#include "Interruption.h"

#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "Output.h"

namespace quillmoria {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};

// What a signal handler may touch. Never destroyed: a handler may still run on another thread after it was taken off.
volatile sig_atomic_t signalled = 0;
sem_t wake;

extern "C" void noteSignal(int) {
  signalled = 1;
  sem_post(&wake);
}

void setHandlers(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  for (int signal : kSignals) sigaction(signal, &action, nullptr);
}

/// The fetch under way may last until its time-out.
void announceStop() {
  if (isatty(STDERR_FILENO)) std::fputc('\n', stderr);  // the progress bar and "^C" stand in the last line
  complain("stopping after the fetch under way; Ctrl-C again ends at once");
}

timespec inMilliseconds(long milliseconds) {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  const long nanoseconds = time.tv_nsec + milliseconds * 1'000'000;
  return {time.tv_sec + nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
}

}  // namespace

Interruption::Interruption(NewsServer& server, RSSSubscriber& subscriber) : server_(server), subscriber_(subscriber) {
  signalled = 0;
  sem_init(&wake, 0, 0);
  setHandlers(noteSignal);
  thread_ = std::thread([this] { stopPulls(); });
}

Interruption::~Interruption() {
  setHandlers(SIG_DFL);
  over_ = true;
  sem_post(&wake);
  thread_.join();
}

bool Interruption::happened() const { return signalled != 0; }

/// A stop reaches only a pull that has begun, so it is asked for until the host is done.
void Interruption::stopPulls() {
  while (sem_wait(&wake) != 0) {
  }
  if (!over_) announceStop();
  while (!over_) {
    server_.TerminateNewsPullThread(&subscriber_);
    const timespec deadline = inMilliseconds(20);
    sem_timedwait(&wake, &deadline);
  }
}

}  // namespace quillmoria
