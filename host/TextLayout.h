#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmoria {

/// Takes one line after another, each printable and without a line break.
using LineSink = std::function<void(std::string_view line)>;

/// Lays text out in lines of so many columns.
///
///     TextLayout layout(80, [&output](std::string_view line) { output.line(line); });
///     layout.separate();
///     layout.indent("* ", "  ");
///     layout.write("A point that goes over several lines ...");
///     layout.outdent();
///
/// Takes time in proportion to what is written, and holds no more than a line of it.
class TextLayout {
 public:
  TextLayout(std::size_t columns, LineSink sink);

  /// Goes on with the line: white space parts words, which go to the next line where this one has no room. A word that
  /// is longer than a line is parted, and so is text in wide characters, between any two that may stand apart.
  void write(std::string_view text);

  /// Goes on with the line as `text` stands, line breaks included, however long its lines are.
  void writeVerbatim(std::string_view text);

  /// Ends the line, if it has begun.
  void endLine();

  /// Ends the line, and leaves one free before the next.
  void separate();

  /// Begins the next line with `first`, and those after it with `rest`, which is as long; both are ASCII. Levels for
  /// which a line has no room begin with nothing.
  void indent(std::string_view first, std::string_view rest);

  /// Ends the line and the last level.
  void outdent();

  /// Whether the line has not begun.
  bool isAtLineStart() const { return line_.empty() && word_.empty(); }

  /// Whether the last character was a space, or there is none.
  bool isAtWordStart() const { return word_.empty(); }

  /// How many characters have been written, white space left out.
  std::size_t written() const { return written_; }

  /// The columns that a line has for text.
  std::size_t room() const { return columns_ - rest_.size(); }

 private:
  struct Level {
    std::string first;       ///< what its first line begins with
    std::size_t restBefore;  ///< how much of `rest_` belongs to the levels around it
  };

  void writeCharacter(char32_t c);
  void endWord();
  void emit();
  std::string restOfBegun() const;

  const std::size_t columns_;
  const LineSink sink_;
  std::vector<Level> levels_;
  std::size_t begunCount_ = 0;  ///< levels that have had their first line
  std::string rest_;            ///< what lines begin with once all levels have begun
  std::string line_;            ///< that is being filled, without what it begins with
  std::size_t lineColumns_ = 0;
  std::string word_;  ///< that follows it
  std::size_t wordColumns_ = 0;
  char32_t last_ = 0;            ///< the last character of the word that has a width; 0 at its start
  bool isSpacePending_ = false;  ///< a space stands between the line and the word
  bool hasLines_ = false;
  std::size_t freeLines_ = 0;  ///< to be left before the next line
  std::size_t written_ = 0;
};

}  // namespace quillmoria
