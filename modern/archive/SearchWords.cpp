#include "modern/archive/SearchWords.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>

namespace quillmoria {
namespace {

// Each word that is searched for opens a place in the index.
constexpr std::size_t kMaxBytes = 1024;
constexpr std::size_t kMaxWords = 64;

struct Word {
  std::string_view text;
  bool isExcluded = false;
  bool isBeginning = false;
};

bool isBlank(char c) { return static_cast<unsigned char>(c) <= ' '; }

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// Whether what stands before the star is long enough for the index to know of: what begins with one letter is nearly
/// all that there is, and takes as long.
bool isBeginning(std::string_view word) {
  if (!word.ends_with('*')) return false;
  const auto isOfWord = [](char c) {
    return static_cast<unsigned char>(c) >= 0x80 || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
           (c >= 'A' && c <= 'Z');
  };
  while (!word.empty() && !isOfWord(word.back())) word.remove_suffix(1);
  std::size_t characters = 0;
  for (; !word.empty() && isOfWord(word.back()); word.remove_suffix(1)) characters += !isContinuation(word.back());
  return characters > 1;
}

/// Takes the words off what a user types, from the front.
class WordReader {
 public:
  explicit WordReader(std::string_view typed) : rest_(typed.substr(0, kMaxBytes)), isCut_(typed.size() > kMaxBytes) {
    if (!isCut_) return;
    while (!rest_.empty() && isContinuation(typed[rest_.size()])) rest_.remove_suffix(1);
  }

  std::optional<Word> next() {
    while (!rest_.empty() && isBlank(rest_.front())) rest_.remove_prefix(1);
    if (rest_.empty()) return std::nullopt;
    Word word;
    word.isExcluded = rest_.front() == '-';
    if (word.isExcluded) rest_.remove_prefix(1);
    if (rest_.starts_with('"')) {
      rest_.remove_prefix(1);
      word.text = take(std::min(rest_.find('"'), rest_.size()));
      if (!rest_.empty()) rest_.remove_prefix(1);
    } else {
      word.text = take(static_cast<std::size_t>(std::ranges::find_if(rest_, endsWord) - rest_.begin()));
      word.isBeginning = isBeginning(word.text);
    }
    if (!isCut_ || !rest_.empty()) return word;
    // What is cut off is the beginning of a word, and not to be excluded.
    if (word.isExcluded) return std::nullopt;
    word.isBeginning = true;
    return word;
  }

 private:
  static bool endsWord(char c) { return isBlank(c) || c == '"'; }

  std::string_view take(std::size_t size) {
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  std::string_view rest_;
  bool isCut_;
};

/// Between quotes nothing is syntax but quotes, of which words have none, and NUL, which ends all.
void appendString(std::string& expression, const Word& word) {
  expression += '"';
  std::ranges::replace_copy(word.text, std::back_inserter(expression), '\0', ' ');
  expression += word.isBeginning ? "\"*" : "\"";
}

}  // namespace

/// Words beside one another must all be there; one without letters among them does not count. What is excluded comes as
/// one choice at the end, so that the expression does not become deeper with each.
std::string searchExpression(std::string_view words) {
  std::string wanted;
  std::string excluded;
  WordReader reader(words);
  std::size_t count = 0;
  for (std::optional<Word> word = reader.next(); word && count < kMaxWords; word = reader.next(), ++count) {
    std::string& side = word->isExcluded ? excluded : wanted;
    if (!side.empty()) side += word->isExcluded ? " OR " : " ";
    appendString(side, *word);
  }
  if (wanted.empty() || excluded.empty()) return wanted;
  return "(" + wanted + ") NOT (" + excluded + ")";
}

}  // namespace quillmoria
