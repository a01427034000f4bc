#include <algorithm>
#include <iterator>
#include <random>
#include <string_view>

#include "Fuzzing.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);

namespace {

using Random = std::minstd_rand;

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kExtremes[] = {
    "0",
    "-1",
    "-2147483648",
    "-2147483649",
    "2147483647",
    "2147483648",
    "4294967295",
    "4294967296",
    "-9223372036854775808",
    "9223372036854775807",
    "9223372036854775808",
    "18446744073709551616",
    "99999999999999999999999999999999999999",
};

std::string anyNumber(Random& random) {
  if (random() % 2 == 0) return std::string(kExtremes[random() % std::size(kExtremes)]);
  return std::to_string(random() >> random() % 31);
}

/// `text` with another number, of any sign, in the place of the one whose last digits begin at `at`.
std::string withAnotherNumber(std::string text, std::size_t at, Random& random) {
  const std::size_t end = std::min(text.find_first_not_of(kDigits, at), text.size());
  while (at > 0 && kDigits.find(text[at - 1]) != std::string_view::npos) --at;
  if (at > 0 && text[at - 1] == '-') --at;
  return text.replace(at, end - at, anyNumber(random));
}

}  // namespace

/// Replaces a number in one of four inputs: byte by byte none ever becomes the last one that a type holds.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned seed) {
  Random random(seed);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t digit = text.find_first_of(kDigits, random() % (size + 1));
  if (digit == std::string_view::npos || random() % 4 != 0) return LLVMFuzzerMutate(data, size, capacity);
  return withAnotherNumber(std::string(text), digit, random).copy(reinterpret_cast<char*>(data), capacity);
}
