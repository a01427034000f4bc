#include "ReadCommand.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "BaseFolder.h"
#include "Browser.h"
#include "Failure.h"
#include "quillmoria/ConnectedState.h"
#include "reader/ReaderServer.h"
#include "reader/ReaderState.h"
#include "reader/RunningReader.h"

namespace quillmoria {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatienceAtEnd = 1s;

struct ReadOptions {
  int port = 0;
  bool withoutBrowser = false;
  int minutes = 30;  ///< between looks for what is due; 0: none
  ConnectedState connected = ConnectedState::Automatic;
};

/// Keeps Ctrl-C (SIGINT) and SIGTERM for `wait`, from all threads that are started while it lives.
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM}) sigaddset(&signals_, signal);
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
  }
  ~EndSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  /// Returns once one has come. Another one then ends the program at once.
  void wait() const {
    int signal = 0;
    sigwait(&signals_, &signal);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t signals_;
  sigset_t before_;
};

/// On a thread of its own, since some browsers end only when the user closes them.
void openInBackground(const std::string& address) {
  std::thread([address] {
    try {
      openInBrowser(address);
    } catch (const Failure& failure) {
      complain(failure.what());
    }
  }).detach();
}

void tell(const std::string& address, Output& output) {
  output.line(address);
  output.flush();
}

int showOther(const RunningReader& running, const ReadOptions& options, Output& output) {
  const std::string address = running.address();
  if (address.empty()) throw Failure(kFailed, "a reader that does not answer serves this folder: end it first");
  complain("a reader serves this folder already, at the address that follows");
  tell(address, output);
  if (!options.withoutBrowser) openInBrowser(address);
  return kDone;
}

/// Ends the process if it has not ended by then: what asks a server that does not answer may take half a minute to give
/// up. All files are whole at any time.
void endWithin(std::chrono::milliseconds patience) {
  std::thread([patience] {
    std::this_thread::sleep_for(patience);
    std::_Exit(kDone);
  }).detach();
}

int run(const ReadOptions& options, const Invocation& invocation) {
  if (invocation.profile == Profile::Classic) throw Failure(kWrongUse, "the classic profile keeps no archive to read");
  const std::string baseFolder = openBaseFolder(invocation.base);
  auto running = std::make_unique<RunningReader>(baseFolder);
  if (running->isAnother()) return showOther(*running, options, invocation.output);
  const EndSignals signals;
  const auto interval = options.minutes > 0 ? std::optional(std::chrono::minutes(options.minutes)) : std::nullopt;
  ReaderState reader(baseFolder, options.connected, interval);
  const ReaderServer server(options.port, reader);
  running->tell(server.address());
  tell(server.address(), invocation.output);
  if (!options.withoutBrowser) openInBackground(server.address());
  signals.wait();
  running.reset();
  endWithin(kPatienceAtEnd);
  return kDone;
}

}  // namespace

Command addRead(CLI::App& app) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* read = declareCommand(app, "read", "Read the news in the browser, on a page that this program serves");
  read->add_option("--port", options->port, "The port of the page; any that is free if not given")
      ->type_name("N")
      ->check(CLI::Range(1, 65535));
  read->add_flag("--no-browser", options->withoutBrowser, "Only print the address of the page");
  read->add_option("--every", options->minutes, "Pull what is due every N minutes; 0: only when asked to")
      ->type_name("N")
      ->check(CLI::Range(0, 7 * 24 * 60))
      ->capture_default_str();
  read->add_flag_callback(
      "--online", [options] { options->connected = ConnectedState::Connected; },
      "Fetch even if the machine seems to be offline");
  return {read, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
