#include "modern/reading/Encoding.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>

#include "modern/reading/Charsets.h"
#include "platform/CodePage.h"
#include "platform/Text.h"
#include "xml/HtmlReferences.h"

namespace quillmoria {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kMaxDeclarationBytes = 1024;
constexpr std::size_t kMaxJunkBytes = 4096;
constexpr std::string_view kSpace = " \t\r\n";
using Block [[gnu::vector_size(16)]] = std::uint8_t;

/// What a document in a character set begins with.
struct Beginning {
  std::string_view bytes;
  const char* charset;
};

/// The longer ones first.
constexpr Beginning kByteOrderMarks[] = {
    {{"\xFF\xFE\0\0", 4}, "UTF-32LE"}, {{"\0\0\xFE\xFF", 4}, "UTF-32BE"}, {"\xEF\xBB\xBF", kUtf8},
    {"\xFF\xFE", "UTF-16LE"},          {"\xFE\xFF", "UTF-16BE"},
};

/// A tag or a declaration in a character set that is not like ASCII.
constexpr Beginning kOtherBeginnings[] = {
    {{"<\0\0\0", 4}, "UTF-32LE"}, {{"\0\0\0<", 4}, "UTF-32BE"},  {{"<\0", 2}, "UTF-16LE"},
    {{"\0<", 2}, "UTF-16BE"},     {"\x4C\x6F\xA7\x94", kEbcdic},
};

template <std::size_t kCount>
const Beginning* beginningOf(std::string_view document, const Beginning (&beginnings)[kCount]) {
  const auto fits = [document](const Beginning& beginning) { return document.starts_with(beginning.bytes); };
  const auto* found = std::ranges::find_if(beginnings, fits);
  return found == std::end(beginnings) ? nullptr : found;
}

std::string_view withoutSpace(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kSpace), text.size()));
}

/// What stands between the quotes that `text` begins with, or else up to a space or semicolon.
std::string_view wordOf(std::string_view text) {
  const bool isQuoted = !text.empty() && (text.front() == '"' || text.front() == '\'');
  if (!isQuoted) return text.substr(0, text.find_first_of(" \t;"));
  const std::string_view quoted = text.substr(1);
  return quoted.substr(0, quoted.find(text.front()));
}

/// The value that `text` gives to `name`, which stands behind one of `separators`; empty if there is none.
std::string_view valueOf(std::string_view text, std::string_view name, std::string_view separators) {
  const std::string lower = lowerAscii(text);
  for (std::size_t at = lower.find(name); at != kNone; at = lower.find(name, at + 1)) {
    const std::string_view rest = withoutSpace(text.substr(at + name.size()));
    const bool isWhole = at > 0 && separators.find(text[at - 1]) != kNone;
    if (isWhole && rest.starts_with('=')) return wordOf(withoutSpace(rest.substr(1)));
  }
  return {};
}

bool isUtf8(const char* charset) { return std::string_view(charset) == kUtf8; }
bool isEbcdic(const char* charset) { return std::string_view(charset).starts_with("IBM"); }

/// Whether nothing in `charset` is what it is in ASCII.
bool isUnlikeAscii(const char* charset) { return isEbcdic(charset) || std::string_view(charset).starts_with("UTF-16"); }

const char* charsetOfContentType(std::string_view contentType) {
  return charsetOf(valueOf(contentType.substr(0, kMaxDeclarationBytes), "charset", "; \t"));
}

/// What the XML declaration says.
const char* declaredCharset(std::string_view document) {
  const std::size_t begin = document.substr(0, kMaxDeclarationBytes).find("<?xml");
  if (begin == kNone) return nullptr;
  const std::string_view declaration = document.substr(begin, kMaxDeclarationBytes);
  return charsetOf(valueOf(declaration.substr(0, declaration.find("?>")), "encoding", kSpace));
}

/// Which of EBCDIC's character sets `document` is in.
const char* ebcdicOf(std::string_view document) {
  std::string beginning;
  appendUtf8(beginning, document.substr(0, kMaxDeclarationBytes), kEbcdic);
  const char* charset = declaredCharset(beginning);
  return charset && isEbcdic(charset) ? charset : kEbcdic;
}

/// The bytes of the UTF-8 sequence that `text` begins with, 0 if it is none. Surrogates count.
std::size_t sequenceBytes(std::string_view text) {
  const auto byteAt = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char first = byteAt(0);
  if (first < 0x80) return 1;
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < size) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return 0;
  }
  const bool isOverlong = (first == 0xE0 && byteAt(1) < 0xA0) || (first == 0xF0 && byteAt(1) < 0x90);
  const bool isBeyondUnicode = first == 0xF4 && byteAt(1) > 0x8F;
  return isOverlong || isBeyondUnicode ? 0 : size;
}

/// Whether XML forbids the character that `sequence` is.
bool isForbidden(std::string_view sequence) {
  if (sequence.size() == 1) return static_cast<unsigned char>(sequence[0]) < 0x20 && kSpace.find(sequence[0]) == kNone;
  const bool isSurrogate = sequence[0] == '\xED' && static_cast<unsigned char>(sequence[1]) >= 0xA0;
  return isSurrogate || sequence == "\uFFFE" || sequence == "\uFFFF";
}

/// How many bytes at the beginning of `text` are of ASCII and allowed by XML, in whole blocks.
std::size_t plainBytes(std::string_view text) {
  std::size_t at = 0;
  for (; at + sizeof(Block) <= text.size(); at += sizeof(Block)) {
    Block bytes;
    std::memcpy(&bytes, text.data() + at, sizeof bytes);
    const auto isForbiddenControl = (bytes < 0x20) & (bytes != '\t') & (bytes != '\n') & (bytes != '\r');
    const auto isOther = isForbiddenControl | (bytes >= 0x80);
    std::uint64_t halves[2];
    std::memcpy(halves, &isOther, sizeof halves);
    if (halves[0] | halves[1]) break;
  }
  return at;
}

/// How many bytes at the beginning of `text` are UTF-8 and allowed by XML.
std::size_t soundBytes(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    at += plainBytes(text.substr(at));
    for (const std::size_t stop = std::min(at + sizeof(Block), text.size()); at < stop;) {
      const std::size_t size = sequenceBytes(text.substr(at));
      if (size == 0 || isForbidden(text.substr(at, size))) return at;
      at += size;
    }
  }
  return at;
}

/// Whether `text` has bytes beyond ASCII, but none that are UTF-8.
bool isAnythingButUtf8(std::string_view text) {
  bool hasOthers = false;
  while (!text.empty()) {
    const std::size_t size = sequenceBytes(text);
    if (size > 1) return false;
    if (size == 0) hasOthers = true;
    text.remove_prefix(1);
    text.remove_prefix(plainBytes(text));
  }
  return hasOthers;
}

/// Appends the character that windows-1252 has for `byte`, which is beyond ASCII.
void appendWindows1252(std::string& utf8, char byte) {
  const char32_t character = characterOfHtmlNumber(static_cast<unsigned char>(byte));
  const auto put = [&utf8](char32_t unit) { utf8 += static_cast<char>(unit); };
  if (character < 0x800) {
    put(0xC0 | character >> 6);
  } else {
    put(0xE0 | character >> 12);
    put(0x80 | (character >> 6 & 0x3F));
  }
  put(0x80 | (character & 0x3F));
}

std::string fromWindows1252(std::string_view bytes) {
  std::string utf8;
  utf8.reserve(bytes.size() + bytes.size() / 8);
  while (!bytes.empty()) {
    const std::size_t plain = plainBytes(bytes);
    utf8 += bytes.substr(0, plain);
    bytes.remove_prefix(plain);
    const std::string_view block = bytes.substr(0, sizeof(Block));
    for (const char byte : block) {
      if (static_cast<signed char>(byte) < 0) {
        appendWindows1252(utf8, byte);
      } else {
        utf8 += byte;
      }
    }
    bytes.remove_prefix(block.size());
  }
  return utf8;
}

/// `text` without what XML forbids; its bytes that are no UTF-8 are windows-1252's.
std::string mended(std::string_view text) {
  std::string utf8;
  utf8.reserve(text.size() + text.size() / 16);
  while (!text.empty()) {
    const std::size_t sound = soundBytes(text);
    utf8 += text.substr(0, sound);
    text.remove_prefix(sound);
    if (text.empty()) break;
    const std::size_t size = sequenceBytes(text);
    if (size == 0) appendWindows1252(utf8, text.front());
    text.remove_prefix(std::max<std::size_t>(size, 1));
  }
  return utf8;
}

/// The bytes of a document, and what they are in.
struct Source {
  std::string_view bytes;
  const char* charset;
};

Source sourceOf(std::string_view document, std::string_view contentType) {
  if (const Beginning* mark = beginningOf(document, kByteOrderMarks)) {
    return {document.substr(mark->bytes.size()), mark->charset};
  }
  if (const Beginning* other = beginningOf(document, kOtherBeginnings)) {
    return {document, isEbcdic(other->charset) ? ebcdicOf(document) : other->charset};
  }

  const char* charset = charsetOfContentType(contentType);
  const bool isRefuted = charset && (isUnlikeAscii(charset) || (isUtf8(charset) && isAnythingButUtf8(document)));
  if (!charset || isRefuted) charset = declaredCharset(document);
  if (!charset || isUnlikeAscii(charset)) charset = kUtf8;
  // ASCII that is more than that.
  if (std::string_view(charset) == kAscii) charset = isAnythingButUtf8(document) ? kWindows1252 : kUtf8;
  return {document, charset};
}

/// The bytes of `source` in UTF-8; none if they are so already.
std::optional<std::string> conversion(const Source& source, bool& wasMended) {
  if (isUtf8(source.charset)) return std::nullopt;
  if (std::string_view(source.charset) == kWindows1252) return fromWindows1252(source.bytes);
  std::string utf8;
  utf8.reserve(source.bytes.size());
  const std::optional<std::size_t> replacements = appendUtf8(utf8, source.bytes, source.charset);
  if (!replacements) return std::nullopt;
  wasMended = *replacements > 0;
  return utf8;
}

/// How much of `text` stands before an XML declaration that comes late, as behind what a server says of its own faults.
/// 0 if the document may have begun by then.
std::size_t bytesBeforeDeclaration(std::string_view text) {
  constexpr std::string_view kBeginnings[] = {
      "<rss", "<rdf:", "<feed", "<atom:", "<channel", "<html", "<!DOCTYPE", "<![CDATA["};
  const std::size_t at = text.substr(0, kMaxJunkBytes).find("<?xml ");
  if (at == kNone) return 0;
  const std::string_view before = text.substr(0, at);
  const auto isThere = [before](std::string_view beginning) { return before.find(beginning) != kNone; };
  return std::ranges::any_of(kBeginnings, isThere) ? 0 : at;
}

/// How much of `text`, which does not begin with white space, is no part of a document.
std::size_t junkBytes(std::string_view text) {
  constexpr std::string_view kJson = "{[";
  if (text.empty() || kJson.find(text.front()) != kNone) return 0;
  const std::size_t declaration = bytesBeforeDeclaration(text);
  const std::size_t tag = text.find('<');
  return declaration > 0 ? declaration : tag != kNone ? tag : 0;
}

/// `text` without what stands before the document.
std::string_view fromBeginning(std::string_view text, bool& wasMended) {
  const std::size_t bytes = text.size();
  text = withoutSpace(text);
  const std::size_t junk = junkBytes(text);
  text.remove_prefix(junk);
  const bool isDeclarationLate = text.size() < bytes && text.starts_with("<?xml");
  if (junk > 0 || isDeclarationLate) wasMended = true;
  return text;
}

}  // namespace

DecodedText decodeDocument(std::string_view document, std::string_view contentType) {
  constexpr std::size_t kMoreThanInPlace = 64;  // a string that is moved keeps its bytes where they are
  const Source source = sourceOf(document, contentType);
  DecodedText decoded;
  std::optional<std::string> converted = conversion(source, decoded.wasMended);
  std::string_view text = converted ? *converted : source.bytes;
  if (soundBytes(text) < text.size()) {
    converted = mended(text);
    text = *converted;
    decoded.wasMended = true;
  }
  const std::size_t end = text.size();
  text = fromBeginning(text, decoded.wasMended);
  if (!converted) {
    decoded.text = text;
    return decoded;
  }
  decoded.converted = std::move(*converted);
  decoded.converted.reserve(kMoreThanInPlace);
  decoded.text = std::string_view(decoded.converted).substr(end - text.size());
  return decoded;
}

}  // namespace quillmoria
