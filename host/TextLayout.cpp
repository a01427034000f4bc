#include "TextLayout.h"

#include <algorithm>
#include <utility>

#include "Text.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMinColumns = 10;
constexpr std::size_t kMaxColumns = 1000;
constexpr std::size_t kMaxIndentColumns = 40;
constexpr std::size_t kTabColumns = 8;

constexpr char32_t kNoBreakSpace = 0xA0;
constexpr char32_t kSoftHyphen = 0xAD;
constexpr char32_t kZeroWidthSpace = 0x200B;

/// What does not begin a line of text in wide characters, and what does not end one.
constexpr std::u32string_view kClosing =
    U"、。々〉》」』】〕〗〞ーゝゞヽヾァィゥェォッャュョヮヵヶぁぃぅぇぉっゃゅょゎ！），．：；？］｝～!),.:;?]}";
constexpr std::u32string_view kOpening = U"〈《「『【〔〖〝（［｛([{";

bool isAmong(std::u32string_view characters, char32_t c) { return characters.find(c) != std::u32string_view::npos; }

/// Whether a line may end between two characters with nothing between them.
bool mayPart(char32_t before, char32_t after) {
  if (before < 0x80 && after < 0x80) return false;
  return (columnsOf(before) > 1 || columnsOf(after) > 1) && !isAmong(kOpening, before) && !isAmong(kClosing, after);
}

std::string_view withoutEndingSpace(std::string_view line) { return line.substr(0, line.find_last_not_of(' ') + 1); }

}  // namespace

TextLayout::TextLayout(std::size_t columns, LineSink sink)
    : columns_(std::clamp(columns, kMinColumns, kMaxColumns)), sink_(std::move(sink)) {}

void TextLayout::write(std::string_view text) {
  const std::string characters = printable(text);
  for (std::string_view rest = characters; !rest.empty();) writeCharacter(takeCharacter(rest));
}

void TextLayout::writeCharacter(char32_t c) {
  if (c == kSoftHyphen) return;
  if (c == ' ' || c == kZeroWidthSpace || (c == kNoBreakSpace && word_.empty())) {
    endWord();
    isSpacePending_ = !line_.empty() && (isSpacePending_ || c != kZeroWidthSpace);
    return;
  }
  if (const std::size_t columns = columnsOf(c); columns > 0) {
    if (last_ != 0 && (wordColumns_ + columns > room() || mayPart(last_, c))) endWord();
    wordColumns_ += columns;
    last_ = c;
  }
  appendUtf8(word_, c);
  ++written_;
}

void TextLayout::endWord() {
  if (word_.empty()) return;
  const std::size_t spaceColumns = isSpacePending_ ? 1 : 0;
  if (!line_.empty() && lineColumns_ + spaceColumns + wordColumns_ > room()) {
    emit();
  } else {
    line_.append(spaceColumns, ' ');
    lineColumns_ += spaceColumns;
  }
  line_ += word_;
  lineColumns_ += wordColumns_;
  word_.clear();
  wordColumns_ = 0;
  last_ = 0;
  isSpacePending_ = false;
}

void TextLayout::writeVerbatim(std::string_view text) {
  endWord();
  isSpacePending_ = false;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find_first_of("\t\n"));
    const std::string shown = printable(piece);
    line_ += shown;
    lineColumns_ += columnsOf(shown);
    written_ += shown.size();
    text.remove_prefix(piece.size());
    if (text.empty()) return;
    if (text.front() == '\t') {
      const std::size_t columns = kTabColumns - lineColumns_ % kTabColumns;
      line_.append(columns, ' ');
      lineColumns_ += columns;
    } else if (withoutEndingSpace(line_).empty()) {
      line_.clear();
      lineColumns_ = 0;
      ++freeLines_;
    } else {
      emit();
    }
    text.remove_prefix(1);
  }
}

void TextLayout::endLine() {
  endWord();
  if (!withoutEndingSpace(line_).empty()) emit();
  line_.clear();
  lineColumns_ = 0;
  isSpacePending_ = false;
}

void TextLayout::separate() {
  endLine();
  freeLines_ = 1;
}

void TextLayout::indent(std::string_view first, std::string_view rest) {
  endLine();
  const bool hasRoom = rest_.size() + rest.size() <= std::min(columns_ / 2, kMaxIndentColumns);
  levels_.push_back({std::string(hasRoom ? first : ""), rest_.size()});
  if (hasRoom) rest_ += rest;
}

void TextLayout::outdent() {
  endLine();
  rest_.resize(levels_.back().restBefore);
  levels_.pop_back();
  begunCount_ = std::min(begunCount_, levels_.size());
}

std::string TextLayout::restOfBegun() const {
  return begunCount_ == levels_.size() ? rest_ : rest_.substr(0, levels_[begunCount_].restBefore);
}

/// Hands the line over, with what it begins with, and begins another.
void TextLayout::emit() {
  std::string line = restOfBegun();
  for (; freeLines_ > 0; --freeLines_) {
    if (hasLines_) sink_(withoutEndingSpace(line));
  }
  for (; begunCount_ < levels_.size(); ++begunCount_) line += levels_[begunCount_].first;
  line += line_;
  sink_(withoutEndingSpace(line));
  hasLines_ = true;
  line_.clear();
  lineColumns_ = 0;
}

}  // namespace quillmoria
