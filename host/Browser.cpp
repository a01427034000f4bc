#include "Browser.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "Failure.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::string_view kPlaceOfAddress = "%s";

/// A program and its arguments.
using Words = std::vector<std::string>;

/// `command` with the address where it says so, or else at its end: always as one argument, or within one.
Words wordsOf(const std::string& command, const std::string& address) {
  Words words;
  bool isPlaced = false;
  std::istringstream pieces(command);
  for (std::string piece; pieces >> piece;) {
    if (const std::size_t place = piece.find(kPlaceOfAddress); place != std::string::npos && !words.empty()) {
      piece.replace(place, kPlaceOfAddress.size(), address);
      isPlaced = true;
    }
    words.push_back(std::move(piece));
  }
  if (!words.empty() && !isPlaced) words.push_back(address);
  return words;
}

/// What may open the address, in the order to try it in: $BROWSER holds commands with colons between them.
std::vector<Words> browsersFor(const std::string& address) {
  const char* const chosen = std::getenv("BROWSER");
  std::istringstream commands(chosen ? chosen : "");
  std::vector<Words> browsers;
  for (std::string command; std::getline(commands, command, ':');) {
    if (Words words = wordsOf(command, address); !words.empty()) browsers.push_back(std::move(words));
  }
  if (browsers.empty()) browsers.push_back({"xdg-open", address});
  return browsers;
}

/// Attributes for programs to be started with the signals as they usually are.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &usual);
    sigset_t blocked;
    sigemptyset(&blocked);
    posix_spawnattr_setsigmask(&attributes_, &blocked);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

/// Runs a program to its end. Whether it could be started and was content.
bool runs(Words words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const SpawnAttributes attributes;
  pid_t process = 0;
  if (posix_spawnp(&process, arguments[0], nullptr, attributes.get(), arguments.data(), environ) != 0) return false;
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool mayStandInAddress(char c) {
  constexpr std::string_view kForbidden = "\"<>\\^`{|}";
  return c > ' ' && c < '\x7f' && kForbidden.find(c) == std::string_view::npos;
}

}  // namespace

std::optional<std::string> browserAddress(std::string_view url) {
  const std::optional<std::string> address = webAddress(withoutUserInformation(url));
  if (!address) return std::nullopt;
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : *address) {
    if (mayStandInAddress(c)) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      (encoded += '%') += {kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return encoded;
}

void openInBrowser(const std::string& address) {
  for (Words& browser : browsersFor(address)) {
    if (runs(std::move(browser))) return;
  }
  throw Failure(kFailed, "no browser opens " + address + ": name one in BROWSER, or install xdg-utils");
}

}  // namespace quillmoria
