#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillmoria {

/// An attribute as it stands in the text: its name in any letter case, its value with its references.
struct HtmlAttribute {
  std::string_view name;
  std::string_view value;
};

enum class HtmlTokenKind {
  End,       ///< of the text
  Text,      ///< characters and references
  StartTag,  ///< of an element, which may be one without an end tag
  EndTag,
};

/// A piece of a page. Comments, declarations and processing instructions are none.
struct HtmlToken {
  HtmlTokenKind kind = HtmlTokenKind::End;
  std::string_view text;                  ///< of Text
  std::string name;                       ///< of a tag, in lower case
  std::vector<HtmlAttribute> attributes;  ///< of a StartTag, the first 256
  bool isClosed = false;                  ///< of a StartTag: it ends in "/>"
};

/// Cuts a page into tokens as browsers do (HTML Living Standard, "Tokenization"): any text has some, and looks at each
/// byte a bounded number of times. `<` begins a tag only before a letter; a tag ends at its first `>` outside of
/// quotes.
///
///     HtmlTokens tokens(html);
///     while (tokens.next().kind != HtmlTokenKind::End) use(tokens.token());
///
/// The text must outlive it.
class HtmlTokens {
 public:
  explicit HtmlTokens(std::string_view html) : rest_(html) {}

  /// The next token, which lasts until the next call.
  const HtmlToken& next();

  /// Passes over what follows, up to the end tag of `name`, in lower case, which is the next token then, or the end:
  /// what is inside of elements such as `script` is no markup. Gives what it has passed over.
  std::string_view skipRawText(std::string_view name);

 private:
  bool readMarkup();
  void readTag(HtmlTokenKind kind);
  void readAttributes();
  void readAttribute();
  std::string_view readValue();
  void skipSpace();
  bool skipComment();
  bool skipTo(std::string_view end, std::size_t from);
  void readText(std::size_t size);

  std::string_view rest_;
  HtmlToken token_;
};

/// Appends the characters of `text`, whose references are resolved as browsers do. In a value of an attribute those
/// without a semicolon count less.
void appendResolved(std::string& out, std::string_view text, bool isValue);

}  // namespace quillmoria
