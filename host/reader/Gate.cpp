#include "reader/Gate.h"

#include <httplib.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "Failure.h"

namespace quillmoria {
namespace {

constexpr std::string_view kMethods[] = {"GET", "HEAD", "POST"};
constexpr std::string_view kCookieName = "quillmoria";
constexpr std::string_view kSchemeEnd = "://";
constexpr char kKeyField[] = "key";

/// 128 bits that nobody can guess, in hexadecimal digits.
std::string secret() {
  constexpr char kDigits[] = "0123456789abcdef";
  unsigned char bytes[16];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
    throw Failure(kFailed, std::string("there are no random numbers to be had: ") + std::strerror(errno));
  }
  std::string text;
  for (const unsigned char byte : bytes) text += {kDigits[byte >> 4], kDigits[byte & 0xF]};
  return text;
}

/// In a time that does not depend on where they differ.
bool areEqual(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  int difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= a[i] ^ b[i];
  return difference == 0;
}

/// The field's value; nothing if it is there twice, which only those send who want it read in two ways.
std::string_view onlyValueOf(const httplib::Request& request, const char* field) {
  const auto [first, end] = request.headers.equal_range(field);
  return first != end && std::next(first) == end ? std::string_view(first->second) : std::string_view();
}

/// Whether one of the cookies sent is `key`.
bool hasCookie(const httplib::Request& request, std::string_view key) {
  const auto [first, end] = request.headers.equal_range("Cookie");
  return std::any_of(first, end, [&key](const auto& header) {
    for (std::string_view rest = header.second; !rest.empty();) {
      const std::string_view cookie = rest.substr(0, rest.find(';'));
      rest.remove_prefix(std::min(cookie.size() + 1, rest.size()));
      const std::size_t equals = cookie.find('=');
      if (equals == std::string_view::npos || !cookie.substr(0, equals).ends_with(kCookieName)) continue;
      if (areEqual(cookie.substr(equals + 1), key)) return true;
    }
    return false;
  });
}

/// Browsers say where a request comes from; programs, which say nothing, have no cookies to be misused.
bool comesFromElsewhere(const httplib::Request& request, std::string_view origin) {
  if (request.has_header("Origin") && onlyValueOf(request, "Origin") != origin) return true;
  const std::string_view site = onlyValueOf(request, "Sec-Fetch-Site");
  return request.has_header("Sec-Fetch-Site") && site != "same-origin" && site != "none";
}

}  // namespace

Gate::Gate(int port)
    : origin_("http://127.0.0.1:" + std::to_string(port)),
      folder_("/" + secret() + "/"),
      key_(secret()),
      formToken_(secret()) {}

std::string Gate::address() const { return origin_ + folder_ + "?" + kKeyField + "=" + key_; }

Verdict Gate::judge(const httplib::Request& request) const {
  // A name that leads here by the answer of a name server is not ours.
  const std::string_view host = std::string_view(origin_).substr(origin_.find(kSchemeEnd) + kSchemeEnd.size());
  if (onlyValueOf(request, "Host") != host || comesFromElsewhere(request, origin_)) return Verdict::Refused;
  if (std::ranges::find(kMethods, request.method) == std::end(kMethods)) return Verdict::Refused;
  if (!std::string_view(request.path).starts_with(folder_)) return Verdict::Refused;
  const bool isEntrance = request.path == folder_ && request.method == "GET" && request.has_param(kKeyField);
  if (isEntrance && areEqual(request.get_param_value(kKeyField), key_)) return Verdict::Entering;
  return hasCookie(request, key_) ? Verdict::Admitted : Verdict::Refused;
}

bool Gate::isFormToken(std::string_view token) const { return areEqual(token, formToken_); }

std::string Gate::cookie() const {
  return std::string(kCookieName) + "=" + key_ + "; Path=" + folder_ + "; HttpOnly; SameSite=Strict";
}

}  // namespace quillmoria
