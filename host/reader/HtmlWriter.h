#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

/// A text that stands in the source of this program: only that may be markup. What comes from elsewhere does not
/// compile in its place.
class Markup {
 public:
  consteval Markup(const char* literal) : text_(literal) {}  // implicit, since every literal is one
  constexpr std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

/// An attribute of an element; without a value it is left out.
struct Attribute {
  Markup name;
  std::optional<std::string> value;
};

/// Builds HTML in which no text of a stranger can be anything but text.
///
///     HtmlWriter html;
///     html.open("a", {{"href", addressOf(view)}, {"aria-current", isShown ? on : off}}).text(title).close("a");
class HtmlWriter {
 public:
  /// What the program itself says in HTML.
  HtmlWriter& add(Markup markup);

  /// A start tag; the values of attributes are escaped.
  HtmlWriter& open(Markup element, std::initializer_list<Attribute> attributes = {});
  HtmlWriter& close(Markup element);

  /// `plain`, escaped.
  HtmlWriter& text(std::string_view plain);

  /// An element that holds nothing but a text.
  HtmlWriter& element(Markup name, std::initializer_list<Attribute> attributes, std::string_view plain);

  /// What another one has built.
  HtmlWriter& add(const HtmlWriter& other);

  /// HTML that the engine has made safe (Html.h). It belongs into documents whose Content-Security-Policy lets nothing
  /// run, and nowhere else.
  HtmlWriter& addSafe(std::string_view engineHtml);

  std::size_t size() const { return html_.size(); }
  std::string take() && { return std::move(html_); }

 private:
  std::string html_;
};

/// The value of an attribute that is there or not and says nothing else.
inline std::optional<std::string> flag(bool isSet) { return isSet ? std::optional<std::string>("") : std::nullopt; }

/// `value` where `isGiven`.
inline std::optional<std::string> valueIf(bool isGiven, std::string_view value) {
  return isGiven ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace quillmoria
