#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "modern/html/HtmlElements.h"
#include "modern/html/HtmlTokens.h"

namespace quillmoria {

/// Writes one piece of a page anew, as appendSafeHtml promises.
class SafeHtmlWriter {
 public:
  /// Appends to `out`; `baseUrl` is what relative addresses are resolved against. Both must outlive it.
  SafeHtmlWriter(std::string& out, std::string_view baseUrl, std::size_t& resolvable)
      : out_(out), baseUrl_(baseUrl), resolvable_(resolvable) {}

  /// Once.
  void write(std::string_view html);

 private:
  static constexpr std::size_t kMaxDepth = 256;

  void writeText(std::string_view text);
  void startElement(HtmlTokens& tokens, const HtmlToken& tag);
  void writeElement(const HtmlToken& tag, const HtmlElement& element);
  void endElement(std::string_view name);
  bool isDropping(HtmlTokens& tokens, const HtmlToken& token, const HtmlElement& element);

  void endImplied(const HtmlElement& element);
  void endUpToPlace(std::string_view part);
  void endParagraph();
  void endLast(std::initializer_list<std::string_view> names, std::initializer_list<std::string_view> within);
  void closeDownTo(std::size_t height);
  bool isInTable() const;

  bool writeStartTag(const HtmlToken& tag, const HtmlElement& element);
  void writeAttributes(const HtmlToken& tag, const HtmlElement& element);
  bool spend(std::string_view resolved);
  void writeAttribute(std::string_view name, std::string_view value);
  void writeImage(const HtmlToken& tag, const HtmlElement& element);
  void writeFrame(const HtmlToken& tag);

  std::string& out_;
  const std::string_view baseUrl_;
  std::size_t& resolvable_;  ///< bytes left for addresses that are made absolute
  std::array<const HtmlElement*, kMaxDepth> open_{};
  std::size_t depth_ = 0;
  std::size_t flattened_ = 0;             ///< elements open beyond the depth, which are not written
  const HtmlElement* dropped_ = nullptr;  ///< what goes with its contents, while inside of it
  std::size_t droppedDepth_ = 0;          ///< elements of its name open inside of it, itself included
  std::string value_;                     ///< of an attribute, with its references resolved
};

}  // namespace quillmoria
