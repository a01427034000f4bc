#pragma once

#include <cstdint>
#include <string_view>

namespace quillmoria {

/// What an element means to those who read pages of strangers.
enum HtmlTrait : std::uint16_t {
  kKept = 1 << 0,       ///< may stand in a safe page
  kEmpty = 1 << 1,      ///< has neither contents nor an end tag
  kDropped = 1 << 2,    ///< goes with its contents
  kRaw = 1 << 3,        ///< its contents are no markup
  kBlock = 1 << 4,      ///< ends a paragraph
  kBreaking = 1 << 5,   ///< parts words
  kFrame = 1 << 6,      ///< shows another page, to which a link leads instead
  kForeign = 1 << 7,    ///< another language, which ends at the next block
  kCell = 1 << 8,       ///< of a table: nothing inside closes what is open outside
  kTablePart = 1 << 9,  ///< means something only inside of a table
  kLiteral = 1 << 10,   ///< its contents are shown as they stand
};

struct HtmlElement {
  std::string_view name;
  std::uint16_t traits = 0;
  std::string_view stead = {};  ///< what is kept in its stead

  bool is(HtmlTrait trait) const { return (traits & trait) != 0; }
};

/// The element called `name`, in lower case; one without a name and traits if it is none that matters: its tags go, and
/// its contents stay.
const HtmlElement& htmlElement(std::string_view name);

}  // namespace quillmoria
