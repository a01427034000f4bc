#include "platform/Thread.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <exception>
#include <thread>
#include <utility>

namespace quillmoria {
namespace {

/// What endThread throws; not an std::exception, so that no handler on the way takes it for an error.
struct ThreadEnd {
  unsigned exitCode;
};

constexpr unsigned kExitCodeOfAnException = 1;

unsigned runToEnd(void (*start)(void*), void* argument) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);  // the libraries in C below cannot be unwound
  try {
    start(argument);
    return 0;
  } catch (const ThreadEnd& end) {
    return end.exitCode;
  } catch (...) {
    if (!std::current_exception()) throw;  // not an exception but pthread_exit, which must not be stopped half-way
    return kExitCodeOfAnException;
  }
}

/// Blocks all signals in the calling thread, and so in the threads that it starts, until the end of the scope.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;
  ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

constinit std::atomic<int> lastId = 0;

}  // namespace

struct Thread::State {
  int id = ++lastId;
  unsigned exitCode = 0;  // written by the thread, read after its end
  std::thread thread;
};

Thread::Thread(std::unique_ptr<State> state) : state_(std::move(state)) {}
Thread::Thread() = default;
Thread::Thread(Thread&&) noexcept = default;
Thread& Thread::operator=(Thread&&) noexcept = default;
Thread::~Thread() = default;

int Thread::id() const { return state_->id; }

bool Thread::isCurrent() const { return state_ && state_->thread.get_id() == std::this_thread::get_id(); }

unsigned Thread::join() {
  state_->thread.join();
  return state_->exitCode;
}

Thread _beginthread(void (*start)(void*), void* argument) {
  const SignalBlock block;
  auto state = std::make_unique<Thread::State>();
  state->thread = std::thread([start, argument, state = state.get()] { state->exitCode = runToEnd(start, argument); });
  return Thread(std::move(state));
}

void endThread(unsigned exitCode) { throw ThreadEnd{exitCode}; }

}  // namespace quillmoria
