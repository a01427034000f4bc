#include "modern/html/HtmlTokens.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "xml/HtmlReferences.h"

namespace quillmoria {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kMaxNameBytes = 32;    ///< of a reference
constexpr std::size_t kMaxAttributes = 256;  ///< of a tag: those behind are passed over
constexpr char32_t kReplacement = 0xFFFD;

constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\f'; }
constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

bool startsWithWord(std::string_view text, std::string_view word) {
  return text.size() >= word.size() &&
         std::equal(word.begin(), word.end(), text.begin(), [](char one, char other) { return one == lower(other); });
}

void appendUtf8(std::string& out, char32_t point) {
  const auto put = [&out](char32_t byte) { out += static_cast<char>(byte); };
  if (point < 0x80) return put(point);
  if (point < 0x800) {
    put(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      put(0xE0 | point >> 12);
    } else {
      put(0xF0 | point >> 18);
      put(0x80 | (point >> 12 & 0x3F));
    }
    put(0x80 | (point >> 6 & 0x3F));
  }
  put(0x80 | (point & 0x3F));
}

/// A reference at the beginning of a text: how long it is and what it stands for; 0 bytes if there is none.
struct Reference {
  std::size_t bytes = 0;
  char32_t character = 0;
};

/// What a number stands for in a page: never what no text may hold.
char32_t characterOf(char32_t number) {
  const bool isNone = number == 0 || number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF);
  return isNone ? kReplacement : characterOfHtmlNumber(number);
}

Reference readNumber(std::string_view text) {
  constexpr char32_t kTooMany = 0x110000;
  const bool isHex = text.size() > 2 && lower(text[2]) == 'x';
  std::size_t end = isHex ? 3 : 2;
  const std::size_t begin = end;
  char32_t number = 0;
  for (; end < text.size(); ++end) {
    const char c = lower(text[end]);
    if (!isDigit(c) && !(isHex && c >= 'a' && c <= 'f')) break;
    const int digit = isDigit(c) ? c - '0' : c - 'a' + 10;
    number = std::min<char32_t>(number * (isHex ? 16 : 10) + static_cast<char32_t>(digit), kTooMany);
  }
  if (end == begin) return {};
  const bool isClosed = end < text.size() && text[end] == ';';
  return {end + isClosed, characterOf(number)};
}

struct OwnName {
  std::string_view name;
  char32_t character;
};
constexpr OwnName kOwnNames[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};

char32_t characterOfName(std::string_view name) {
  for (const OwnName& own : kOwnNames) {
    if (own.name == name) return own.character;
  }
  return characterOfHtmlName(name);
}

/// Whether the reference counts without a semicolon, too: the names of old, those of Latin-1, do.
bool mayLackSemicolon(std::string_view name, char32_t character) {
  const bool isMarkup = character == '&' || character == '<' || character == '>' || character == '"';
  return isMarkup || (character >= 0xA0 && character <= 0xFF && name != "half");
}

/// A name of old that other letters follow at once; only between tags is that a reference.
Reference readBeginningOfName(std::string_view name) {
  constexpr std::size_t kLongest = 6;
  constexpr std::size_t kShortest = 2;
  for (std::size_t size = std::min(name.size(), kLongest); size >= kShortest; --size) {
    const char32_t character = characterOfName(name.substr(0, size));
    if (character && mayLackSemicolon(name.substr(0, size), character)) return {size + 1, character};
  }
  return {};
}

Reference readName(std::string_view text, bool isValue) {
  std::size_t end = 1;
  while (end < std::min(text.size(), kMaxNameBytes) && (isLetter(text[end]) || isDigit(text[end]))) ++end;
  const std::string_view name = text.substr(1, end - 1);
  const std::string_view behind = text.substr(end);
  const char32_t character = characterOfName(name);
  if (character && behind.starts_with(';')) return {end + 1, character};
  if (!isValue) return readBeginningOfName(name);
  const bool isReference = character && mayLackSemicolon(name, character) && !behind.starts_with('=');
  return isReference ? Reference{end, character} : Reference{};
}

}  // namespace

const HtmlToken& HtmlTokens::next() {
  while (!rest_.empty()) {
    if (rest_.front() != '<') {
      readText(std::min(rest_.find('<'), rest_.size()));
      return token_;
    }
    if (readMarkup()) return token_;
  }
  token_.kind = HtmlTokenKind::End;
  return token_;
}

/// True if it was a token.
bool HtmlTokens::readMarkup() {
  const char second = rest_.size() > 1 ? rest_[1] : ' ';
  if (isLetter(second)) {
    rest_.remove_prefix(1);
    readTag(HtmlTokenKind::StartTag);
    return token_.kind != HtmlTokenKind::End;
  }
  if (second == '/' && rest_.size() > 2 && isLetter(rest_[2])) {
    rest_.remove_prefix(2);
    readTag(HtmlTokenKind::EndTag);
    return token_.kind != HtmlTokenKind::End;
  }
  if (second == '!' || second == '?' || (second == '/' && rest_.size() > 2)) return skipComment();
  // No markup begins here, but the next may begin right behind.
  readText(std::min(rest_.find('<', 1), rest_.size()));
  return true;
}

void HtmlTokens::readText(std::size_t size) {
  token_.kind = HtmlTokenKind::Text;
  token_.text = rest_.substr(0, size);
  rest_.remove_prefix(size);
}

/// A tag that the text ends within is none.
void HtmlTokens::readTag(HtmlTokenKind kind) {
  const auto isEnd = [](char c) { return isSpace(c) || c == '/' || c == '>'; };
  const auto size = static_cast<std::size_t>(std::ranges::find_if(rest_, isEnd) - rest_.begin());
  token_.kind = kind;
  token_.name.assign(rest_.substr(0, size));
  std::ranges::transform(token_.name, token_.name.begin(), lower);
  token_.attributes.clear();
  token_.isClosed = false;
  rest_.remove_prefix(size);
  readAttributes();
  if (rest_.empty()) {
    token_.kind = HtmlTokenKind::End;
  } else {
    rest_.remove_prefix(1);
  }
}

void HtmlTokens::readAttributes() {
  for (;;) {
    for (; !rest_.empty() && (isSpace(rest_.front()) || rest_.front() == '/'); rest_.remove_prefix(1)) {
      token_.isClosed = rest_.starts_with("/>");
    }
    if (rest_.empty() || rest_.front() == '>') return;
    readAttribute();
  }
}

void HtmlTokens::readAttribute() {
  const auto isEnd = [](char c) { return isSpace(c) || c == '/' || c == '>' || c == '='; };
  const auto size = static_cast<std::size_t>(std::find_if(rest_.begin() + 1, rest_.end(), isEnd) - rest_.begin());
  HtmlAttribute attribute{rest_.substr(0, size), {}};
  rest_.remove_prefix(size);
  skipSpace();
  if (rest_.starts_with('=')) {
    rest_.remove_prefix(1);
    skipSpace();
    attribute.value = readValue();
  }
  if (token_.attributes.size() < kMaxAttributes) token_.attributes.push_back(attribute);
}

std::string_view HtmlTokens::readValue() {
  if (rest_.empty()) return {};
  const char quote = rest_.front();
  std::size_t size = 0;
  if (quote == '"' || quote == '\'') {
    rest_.remove_prefix(1);
    size = std::min(rest_.find(quote), rest_.size());
  } else {
    const auto isEnd = [](char c) { return isSpace(c) || c == '>'; };
    size = static_cast<std::size_t>(std::ranges::find_if(rest_, isEnd) - rest_.begin());
  }
  const std::string_view value = rest_.substr(0, size);
  rest_.remove_prefix(size);
  if ((quote == '"' || quote == '\'') && !rest_.empty()) rest_.remove_prefix(1);
  return value;
}

void HtmlTokens::skipSpace() {
  while (!rest_.empty() && isSpace(rest_.front())) rest_.remove_prefix(1);
}

bool HtmlTokens::skipComment() {
  if (!rest_.starts_with("<!--")) return skipTo(">", 2);
  if (rest_.substr(4).starts_with(">")) return skipTo(">", 4);
  if (rest_.substr(4).starts_with("->")) return skipTo(">", 5);
  // One pass for both ends: looking for each on its own would look through a text of many comments again and again.
  for (std::size_t at = 4; (at = rest_.find("--", at)) != kNone; ++at) {
    if (rest_.substr(at + 2).starts_with('>')) return skipTo(">", at);
    if (rest_.substr(at + 2).starts_with("!>")) return skipTo(">", at);
  }
  return skipTo("-->", rest_.size());
}

bool HtmlTokens::skipTo(std::string_view end, std::size_t from) {
  const std::size_t at = rest_.find(end, from);
  rest_.remove_prefix(at == kNone ? rest_.size() : at + end.size());
  return false;
}

std::string_view HtmlTokens::skipRawText(std::string_view name) {
  for (std::size_t at = 0; (at = rest_.find("</", at)) != kNone; at += 2) {
    const std::string_view tag = rest_.substr(at + 2);
    if (!startsWithWord(tag, name)) continue;
    const std::string_view behind = tag.substr(name.size());
    if (!behind.empty() && !isSpace(behind.front()) && behind.front() != '/' && behind.front() != '>') continue;
    const std::string_view passed = rest_.substr(0, at);
    rest_.remove_prefix(at);
    return passed;
  }
  return std::exchange(rest_, {});
}

void appendResolved(std::string& out, std::string_view text, bool isValue) {
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find('&'), text.size());
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return;
    const bool isNumber = text.size() > 1 && text[1] == '#';
    const Reference reference = isNumber ? readNumber(text) : readName(text, isValue);
    if (reference.bytes == 0) {
      out += '&';
      text.remove_prefix(1);
    } else {
      appendUtf8(out, reference.character);
      text.remove_prefix(reference.bytes);
    }
  }
}

}  // namespace quillmoria
