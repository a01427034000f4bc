#include "modern/archive/WordTokenizer.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace quillmoria {
namespace {

/// What a character is to texts without spaces.
enum class Kind : std::uint8_t {
  Other,     ///< of another script, or none
  Letter,    ///< a word
  Mark,      ///< belongs to the letter before it
  Selector,  ///< says how the letter before it looks, and is left out
};

struct KindRange {
  char32_t first;
  char32_t last;
  Kind kind;
};

constexpr KindRange kKinds[] = {
    // Thai
    {0x0E01, 0x0E30, Kind::Letter},
    {0x0E31, 0x0E31, Kind::Mark},
    {0x0E32, 0x0E33, Kind::Letter},
    {0x0E34, 0x0E3A, Kind::Mark},
    {0x0E40, 0x0E46, Kind::Letter},
    {0x0E47, 0x0E4E, Kind::Mark},
    // Lao
    {0x0E81, 0x0EB0, Kind::Letter},
    {0x0EB1, 0x0EB1, Kind::Mark},
    {0x0EB2, 0x0EB3, Kind::Letter},
    {0x0EB4, 0x0EBC, Kind::Mark},
    {0x0EBD, 0x0EC6, Kind::Letter},
    {0x0EC8, 0x0ECE, Kind::Mark},
    {0x0EDC, 0x0EDF, Kind::Letter},
    // Myanmar
    {0x1000, 0x102A, Kind::Letter},
    {0x102B, 0x103E, Kind::Mark},
    {0x103F, 0x103F, Kind::Letter},
    {0x1050, 0x1055, Kind::Letter},
    {0x1056, 0x1059, Kind::Mark},
    {0x105A, 0x105D, Kind::Letter},
    {0x105E, 0x1060, Kind::Mark},
    {0x1061, 0x1061, Kind::Letter},
    {0x1062, 0x1064, Kind::Mark},
    {0x1065, 0x1066, Kind::Letter},
    {0x1067, 0x106D, Kind::Mark},
    {0x106E, 0x1070, Kind::Letter},
    {0x1071, 0x1074, Kind::Mark},
    {0x1075, 0x1081, Kind::Letter},
    {0x1082, 0x108D, Kind::Mark},
    {0x108E, 0x108E, Kind::Letter},
    {0x108F, 0x108F, Kind::Mark},
    {0x109A, 0x109D, Kind::Mark},
    // Khmer
    {0x1780, 0x17B3, Kind::Letter},
    {0x17B4, 0x17D3, Kind::Mark},
    {0x17D7, 0x17D7, Kind::Letter},
    {0x17DC, 0x17DC, Kind::Letter},
    {0x17DD, 0x17DD, Kind::Mark},
    // Han and kana
    {0x3005, 0x3007, Kind::Letter},
    {0x3021, 0x3029, Kind::Letter},
    {0x3031, 0x3035, Kind::Letter},
    {0x3038, 0x303C, Kind::Letter},
    {0x3041, 0x3096, Kind::Letter},
    {0x3099, 0x309A, Kind::Mark},
    {0x309D, 0x309F, Kind::Letter},
    {0x30A1, 0x30FA, Kind::Letter},
    {0x30FC, 0x30FF, Kind::Letter},
    {0x31F0, 0x31FF, Kind::Letter},
    {0x3400, 0x4DBF, Kind::Letter},
    {0x4E00, 0x9FFF, Kind::Letter},
    // Myanmar
    {0xA9E0, 0xA9E4, Kind::Letter},
    {0xA9E5, 0xA9E5, Kind::Mark},
    {0xA9E6, 0xA9EF, Kind::Letter},
    {0xA9FA, 0xA9FE, Kind::Letter},
    {0xAA60, 0xAA76, Kind::Letter},
    {0xAA7A, 0xAA7A, Kind::Letter},
    {0xAA7B, 0xAA7D, Kind::Mark},
    {0xAA7E, 0xAA7F, Kind::Letter},
    // Han and kana
    {0xF900, 0xFAD9, Kind::Letter},
    {0xFE00, 0xFE0F, Kind::Selector},
    {0xFF66, 0xFF9F, Kind::Letter},
    {0x1AFF0, 0x1AFFE, Kind::Letter},
    {0x1B000, 0x1B167, Kind::Letter},
    {0x20000, 0x2FFFD, Kind::Letter},
    {0x30000, 0x3FFFD, Kind::Letter},
    {0xE0100, 0xE01EF, Kind::Selector},
};

Kind kindOf(char32_t character) {
  if (character < kKinds[0].first) return Kind::Other;
  const auto* const range = std::ranges::lower_bound(kKinds, character, {}, &KindRange::last);
  return range != std::end(kKinds) && range->first <= character ? range->kind : Kind::Other;
}

struct Character {
  char32_t value;
  std::size_t bytes;
};

/// The character that `text`, which is not empty, begins with. A byte that begins none stands for itself.
Character firstCharacter(std::string_view text) {
  const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byteAt(0);
  const std::size_t bytes = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
  if (bytes == 1 || bytes > text.size()) return {lead, 1};
  char32_t value = lead & (0xFFU >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return {lead, 1};
    value = value << 6 | (byteAt(i) & 0x3FU);
  }
  return {value, bytes};
}

/// The size of what `text` begins with up to the next character that is a word of its own.
std::size_t spacedBytes(std::string_view text) {
  std::size_t size = 0;
  while (size < text.size()) {
    // Most text has none of them, and they take three bytes or more.
    if (static_cast<unsigned char>(text[size]) < 0xE0) {
      ++size;
      continue;
    }
    const Character next = firstCharacter(text.substr(size));
    if (kindOf(next.value) == Kind::Letter) break;
    size += next.bytes;
  }
  return size;
}

struct Letter {
  std::size_t wordBytes;  ///< with its marks
  std::size_t bytes;      ///< with all that belongs to it
};

/// The letter that `text` begins with.
Letter firstLetter(std::string_view text) {
  Letter letter{};
  letter.wordBytes = letter.bytes = firstCharacter(text).bytes;
  while (letter.bytes < text.size()) {
    const Character next = firstCharacter(text.substr(letter.bytes));
    const Kind kind = kindOf(next.value);
    if (kind != Kind::Mark && kind != Kind::Selector) break;
    const bool isWord = kind == Kind::Mark && letter.wordBytes == letter.bytes;
    letter.bytes += next.bytes;
    if (isWord) letter.wordBytes = letter.bytes;
  }
  return letter;
}

struct Folding {
  std::uint16_t from;
  std::uint16_t to;  ///< 0: left out
};

// Beyond what unicode61 makes equal: Greek accents, the Cyrillic io, vowel signs of Hebrew and Arabic, the forms of
// alef. All are of two bytes in UTF-8.
constexpr Folding kFoldings[] = {
    {0x0390, 0x03B9}, {0x03AC, 0x03B1}, {0x03AD, 0x03B5}, {0x03AE, 0x03B7}, {0x03AF, 0x03B9}, {0x03B0, 0x03C5},
    {0x03C2, 0x03C3}, {0x03CA, 0x03B9}, {0x03CB, 0x03C5}, {0x03CC, 0x03BF}, {0x03CD, 0x03C5}, {0x03CE, 0x03C9},
    {0x0451, 0x0435}, {0x05B0, 0},      {0x05B1, 0},      {0x05B2, 0},      {0x05B3, 0},      {0x05B4, 0},
    {0x05B5, 0},      {0x05B6, 0},      {0x05B7, 0},      {0x05B8, 0},      {0x05B9, 0},      {0x05BA, 0},
    {0x05BB, 0},      {0x05BC, 0},      {0x05BD, 0},      {0x05BF, 0},      {0x05C1, 0},      {0x05C2, 0},
    {0x05C4, 0},      {0x05C5, 0},      {0x05C7, 0},      {0x0622, 0x0627}, {0x0623, 0x0627}, {0x0625, 0x0627},
    {0x0640, 0},      {0x064B, 0},      {0x064C, 0},      {0x064D, 0},      {0x064E, 0},      {0x064F, 0},
    {0x0650, 0},      {0x0651, 0},      {0x0652, 0},      {0x0653, 0},      {0x0654, 0},      {0x0655, 0},
    {0x0670, 0},      {0x0671, 0x0627},
};
static_assert(std::ranges::is_sorted(kFoldings, {}, &Folding::from));

const Folding* foldingOf(char32_t character) {
  const auto* const folding = std::ranges::lower_bound(kFoldings, character, {}, &Folding::from);
  return folding != std::end(kFoldings) && folding->from == character ? folding : nullptr;
}

/// Whether `word` may have characters to fold: by the first bytes of those.
bool mayFold(std::string_view word) {
  return std::ranges::any_of(word, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 0xCE && byte <= 0xDB);
  });
}

void appendFolded(std::string& out, std::string_view word) {
  while (!word.empty()) {
    const Character next = firstCharacter(word);
    const Folding* const folding = next.bytes == 2 ? foldingOf(next.value) : nullptr;
    if (!folding) {
      out += word.substr(0, next.bytes);
    } else if (folding->to != 0) {
      out += static_cast<char>(0xC0 | folding->to >> 6);
      out += static_cast<char>(0x80 | (folding->to & 0x3F));
    }
    word.remove_prefix(next.bytes);
  }
}

using TakeToken = int(void* context, int flags, const char* token, int bytes, int start, int end);

/// Where the tokens of a piece of text go.
struct Relay {
  void* context;
  TakeToken* take;
  int offset;  ///< of the piece in the text
  std::string folded;

  int pass(int flags, std::string_view word, int start, int end) {
    if (word.empty()) return SQLITE_OK;
    return take(context, flags, word.data(), static_cast<int>(word.size()), offset + start, offset + end);
  }

  static int takeToken(void* relay, int flags, const char* token, int bytes, int start, int end) noexcept {
    try {
      auto& self = *static_cast<Relay*>(relay);
      const std::string_view word(token, static_cast<std::size_t>(bytes));
      if (!mayFold(word)) return self.pass(flags, word, start, end);
      self.folded.clear();
      appendFolded(self.folded, word);
      return self.pass(flags, self.folded, start, end);
    } catch (const std::bad_alloc&) {
      return SQLITE_NOMEM;
    }
  }
};

/// What SQLite knows as one Fts5Tokenizer.
struct WordTokenizer {
  fts5_tokenizer spaced{};  ///< unicode61
  Fts5Tokenizer* spacedState = nullptr;

  ~WordTokenizer() {
    if (spacedState) spaced.xDelete(spacedState);
  }
};

int makeTokenizer(void* api, const char** /*arguments*/, int /*argumentCount*/, Fts5Tokenizer** made) noexcept {
  const char* arguments[] = {"remove_diacritics", "2", "categories", "L* N* Co Mc Mn"};
  auto* const fts5 = static_cast<fts5_api*>(api);
  std::unique_ptr<WordTokenizer> tokenizer(new (std::nothrow) WordTokenizer);
  if (!tokenizer) return SQLITE_NOMEM;
  void* context = nullptr;
  int code = fts5->xFindTokenizer(fts5, "unicode61", &context, &tokenizer->spaced);
  if (code == SQLITE_OK) {
    code =
        tokenizer->spaced.xCreate(context, arguments, static_cast<int>(std::size(arguments)), &tokenizer->spacedState);
  }
  if (code == SQLITE_OK) *made = reinterpret_cast<Fts5Tokenizer*>(tokenizer.release());
  return code;
}

void deleteTokenizer(Fts5Tokenizer* tokenizer) noexcept { delete reinterpret_cast<WordTokenizer*>(tokenizer); }

int tokenize(Fts5Tokenizer* tokenizer, void* context, int flags, const char* bytes, int size,
             TakeToken* take) noexcept {
  const auto& self = *reinterpret_cast<WordTokenizer*>(tokenizer);
  const std::string_view text(bytes, static_cast<std::size_t>(std::max(size, 0)));
  Relay relay{context, take, 0, {}};
  int code = SQLITE_OK;
  for (std::size_t position = 0; code == SQLITE_OK && position < text.size();) {
    const std::string_view rest = text.substr(position);
    relay.offset = static_cast<int>(position);
    if (const std::size_t spaced = spacedBytes(rest)) {
      code = self.spaced.xTokenize(self.spacedState, &relay, flags, rest.data(), static_cast<int>(spaced),
                                   &Relay::takeToken);
      position += spaced;
    } else {
      const Letter letter = firstLetter(rest);
      code = relay.pass(0, rest.substr(0, letter.wordBytes), 0, static_cast<int>(letter.wordBytes));
      position += letter.bytes;
    }
  }
  return code;
}

/// How extensions come to FTS5.
fts5_api* fts5Of(sqlite3* connection) {
  fts5_api* api = nullptr;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(connection, "SELECT fts5(?1)", -1, &statement, nullptr) == SQLITE_OK) {
    sqlite3_bind_pointer(statement, 1, &api, "fts5_api_ptr", nullptr);
    sqlite3_step(statement);
  }
  sqlite3_finalize(statement);
  return api;
}

}  // namespace

int registerWordTokenizer(sqlite3* connection) {
  fts5_api* const api = fts5Of(connection);
  if (!api) return sqlite3_errcode(connection) == SQLITE_NOMEM ? SQLITE_NOMEM : SQLITE_ERROR;
  fts5_tokenizer tokenizer{&makeTokenizer, &deleteTokenizer, &tokenize};
  return api->xCreateTokenizer(api, "words", api, &tokenizer, nullptr);
}

}  // namespace quillmoria
