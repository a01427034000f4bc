#include "modern/html/HtmlText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "xml/HtmlReferences.h"

namespace quillmoria {
namespace {

constexpr char kLeadOfControls = '\xC2';  ///< of the two bytes of U+0080 to U+00BF

/// What is not written as it stands.
enum class ByteKind : std::uint8_t { Plain, Space, Control, Markup, Lead };

constexpr std::array<ByteKind, 256> kByteKinds = [] {
  std::array<ByteKind, 256> kinds{};
  for (std::size_t byte = 0; byte < 0x20; ++byte) kinds[byte] = ByteKind::Control;
  kinds[0x7F] = ByteKind::Control;
  for (const char space : {' ', '\t', '\n', '\r', '\f'}) kinds[static_cast<unsigned char>(space)] = ByteKind::Space;
  for (const char sign : {'&', '<', '>', '"'}) kinds[static_cast<unsigned char>(sign)] = ByteKind::Markup;
  kinds[static_cast<unsigned char>(kLeadOfControls)] = ByteKind::Lead;
  return kinds;
}();

ByteKind kindOf(char byte) { return kByteKinds[static_cast<unsigned char>(byte)]; }

std::string_view escapeOf(char sign) {
  switch (sign) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return "&quot;";
  }
}

/// Whether the two bytes that `text` begins with are a character from U+0080 to U+009F.
bool beginsWithControl(std::string_view text) {
  return text.size() > 1 && static_cast<unsigned char>(text[1]) >= 0x80 && static_cast<unsigned char>(text[1]) < 0xA0;
}

/// Appends what windows-1252 has for the control character that `text` begins with; some it does not have either.
void appendControl(std::string& out, std::string_view text) {
  const char32_t meant = characterOfHtmlNumber(static_cast<unsigned char>(text[1]));
  if (meant < 0xA0) return;
  if (meant >= 0x800) {
    out += static_cast<char>(0xE0 | meant >> 12);
    out += static_cast<char>(0x80 | (meant >> 6 & 0x3F));
  } else {
    out += static_cast<char>(0xC0 | meant >> 6);
  }
  out += static_cast<char>(0x80 | (meant & 0x3F));
}

bool isNoBreakSpace(std::string_view text) { return text.starts_with("\xC2\xA0"); }

void appendSpace(std::string& out) {
  if (!out.empty() && out.back() != ' ') out += ' ';
}

}  // namespace

void appendEscapedHtml(std::string& out, std::string_view text) {
  while (!text.empty()) {
    const auto isSpecial = [](char c) { return kindOf(c) >= ByteKind::Control; };
    const auto plain = static_cast<std::size_t>(std::ranges::find_if(text, isSpecial) - text.begin());
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return;
    std::size_t taken = 1;
    if (kindOf(text.front()) == ByteKind::Markup) {
      out += escapeOf(text.front());
    } else if (kindOf(text.front()) == ByteKind::Lead) {
      taken = std::min<std::size_t>(2, text.size());
      beginsWithControl(text) ? appendControl(out, text) : void(out += text.substr(0, taken));
    }
    text.remove_prefix(taken);
  }
}

void appendCollapsed(std::string& out, std::string_view text) {
  while (!text.empty()) {
    const auto isSpecial = [](char c) { return kindOf(c) != ByteKind::Plain && kindOf(c) != ByteKind::Markup; };
    const auto plain = static_cast<std::size_t>(std::ranges::find_if(text, isSpecial) - text.begin());
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return;
    std::size_t taken = 1;
    if (kindOf(text.front()) == ByteKind::Space) {
      appendSpace(out);
    } else if (kindOf(text.front()) == ByteKind::Lead) {
      taken = std::min<std::size_t>(2, text.size());
      if (isNoBreakSpace(text)) {
        appendSpace(out);
      } else if (beginsWithControl(text)) {
        appendControl(out, text);
      } else {
        out += text.substr(0, taken);
      }
    }
    text.remove_prefix(taken);
  }
}

}  // namespace quillmoria
