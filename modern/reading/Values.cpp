#include "modern/reading/Values.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr std::string_view kSpaces = " \t\r\n\f\v";
constexpr std::int32_t kMaxUpdateMinutes = 366 * 24 * 60;
constexpr std::int64_t kMaxDurationSeconds = std::int64_t{1} << 40;

struct Period {
  std::string_view name;
  std::int32_t minutes;
};
constexpr Period kPeriods[] = {
    {"hourly", 60}, {"daily", 24 * 60}, {"weekly", 7 * 24 * 60}, {"monthly", 30 * 24 * 60}, {"yearly", 365 * 24 * 60},
};

constexpr std::string_view kDays[] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

consteval auto base64Values() {
  std::array<signed char, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < kBase64.size(); ++i) {
    values[static_cast<unsigned char>(kBase64[i])] = static_cast<signed char>(i);
  }
  values['-'] = 62;
  values['_'] = 63;
  return values;
}

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr std::string_view kAroundNames = " \t\r\n\f\v()<>[],;";

/// Where the address in `person` is; empty if there is none, or one that only looks like it.
std::string_view mailIn(std::string_view person) {
  const std::size_t at = person.find('@');
  if (at == std::string_view::npos || at == 0) return {};
  std::size_t begin = person.find_last_of(kAroundNames, at);
  begin = begin == std::string_view::npos ? 0 : begin + 1;
  const std::size_t end = std::min(person.find_first_of(kAroundNames, at), person.size());
  const std::string_view mail = person.substr(begin, end - begin);
  const bool isMail = begin < at && mail.find('.', at - begin) != std::string_view::npos;
  return isMail ? mail : std::string_view();
}

std::string_view withoutBrackets(std::string_view text) {
  for (;;) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n\f\v,;");
    if (begin == std::string_view::npos) return {};
    text = text.substr(begin, text.find_last_not_of(" \t\r\n\f\v,;") + 1 - begin);
    const bool isBracketed =
        text.size() > 1 &&
        ((text.front() == '(' && text.back() == ')') || (text.front() == '<' && text.back() == '>') ||
         (text.front() == '[' && text.back() == ']') || (text.front() == '"' && text.back() == '"'));
    if (!isBracketed) return text;
    text = text.substr(1, text.size() - 2);
  }
}

/// What `person` has before `mail`, a part of it, else behind it.
std::string_view besides(std::string_view person, std::string_view mail) {
  const auto begin = static_cast<std::size_t>(mail.data() - person.data());
  const std::string_view before = person.substr(0, begin);
  const std::size_t end = before.find_last_not_of("(<[-: \t\r\n");
  if (end != std::string_view::npos) return withoutBrackets(before.substr(0, end + 1));
  const std::string_view after = person.substr(begin + mail.size());
  return withoutBrackets(after.substr(std::min(after.find_first_not_of(")>]-: \t\r\n"), after.size())));
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kSpaces);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kSpaces) + 1 - begin);
}

bool isSameWord(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, {}, lower, lower);
}

bool hasWord(std::string_view list, std::string_view word) {
  for (list = trimmed(list); !list.empty();) {
    const std::size_t end = std::min(list.find_first_of(kSpaces), list.size());
    if (isSameWord(list.substr(0, end), word)) return true;
    list = trimmed(list.substr(end));
  }
  return false;
}

std::int64_t countIn(std::string_view text) {
  text = trimmed(text);
  const bool isCount = !text.empty() && text.front() >= '0' && text.front() <= '9';
  return isCount ? toInt64(text) : -1;
}

std::int64_t durationSeconds(std::string_view text) {
  text = trimmed(text);
  std::int64_t seconds = 0;
  for (int parts = 0; parts < 3; ++parts) {
    const std::size_t colon = text.find(':');
    const std::int64_t part = countIn(text.substr(0, colon));
    if (part < 0 || part > kMaxDurationSeconds / 3600) return -1;
    seconds = seconds * 60 + part;
    if (colon == std::string_view::npos) return seconds;
    text.remove_prefix(colon + 1);
  }
  return -1;
}

std::string_view personName(std::string_view person) {
  person = trimmed(person);
  if (isSameWord(person.substr(0, 7), "mailto:")) person.remove_prefix(7);
  const std::string_view mail = mailIn(person);
  const std::string_view name = mail.empty() ? person : besides(person, mail);
  const std::string_view again = mailIn(name);  // some give it twice
  const std::string_view bare = again.empty() ? withoutBrackets(name) : besides(name, again);
  return bare.empty() ? mail : bare;
}

std::int32_t updateMinutes(std::string_view period, std::int32_t frequency) {
  if (trimmed(period).empty() && frequency < 1) return -1;
  std::int32_t minutes = 24 * 60;
  for (const Period& known : kPeriods) {
    if (isSameWord(trimmed(period), known.name)) minutes = known.minutes;
  }
  return std::clamp(minutes / std::max(frequency, 1), 1, kMaxUpdateMinutes);
}

std::uint8_t dayBit(std::string_view name) {
  const std::string_view start = trimmed(name).substr(0, 3);
  for (std::size_t day = 0; day < std::size(kDays); ++day) {
    if (isSameWord(start, kDays[day].substr(0, 3))) return static_cast<std::uint8_t>(1U << day);
  }
  return 0;
}

std::uint32_t hourBit(std::string_view hour) {
  const std::int64_t number = countIn(hour);
  return number < 0 || number > 24 ? 0 : std::uint32_t{1} << (number % 24);
}

std::string decodedBase64(std::string_view base64) {
  static constexpr auto kValues = base64Values();
  std::string bytes;
  bytes.reserve(base64.size() / 4 * 3);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : base64) {
    if (kSpaces.find(c) != std::string_view::npos) continue;
    const int value = kValues[static_cast<unsigned char>(c)];
    if (value < 0) break;
    bits = (bits << 6 | static_cast<std::uint32_t>(value)) & 0xFFFFFF;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

}  // namespace quillmoria
