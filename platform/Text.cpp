#include "platform/Text.h"

#include <limits>

namespace quillmoria {
namespace {

constexpr bool isWhiteSpace(char character) { return character == ' ' || (character >= '\t' && character <= '\r'); }

template <class Number>
constexpr Number bound(bool negative) {
  return negative ? std::numeric_limits<Number>::min() : std::numeric_limits<Number>::max();
}

/// Collects the number with its sign, since the lowest one has no positive twin.
template <class Number>
Number leadingNumber(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && isWhiteSpace(text[at])) ++at;
  if (at == text.size()) return 0;

  const bool negative = text[at] == '-';
  if (negative || text[at] == '+') ++at;

  Number number = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    const int digit = text[at] - '0';
    if (__builtin_mul_overflow(number, 10, &number) ||
        __builtin_add_overflow(number, negative ? -digit : digit, &number)) {
      return bound<Number>(negative);
    }
  }
  return number;
}

}  // namespace

std::int64_t toInt64(std::string_view text) { return leadingNumber<std::int64_t>(text); }

std::int32_t toInt32(std::string_view text) { return leadingNumber<std::int32_t>(text); }

std::string lowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

}  // namespace quillmoria
