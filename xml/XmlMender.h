#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

struct MendedXml {
  std::string text;         ///< the root element; empty if there is none
  std::string missingEnds;  ///< the end tags of elements that are open where the document breaks off
  bool wasMended = false;   ///< the document was not well-formed, HTML's named references aside
};

/// The document `text`, in UTF-8 without characters that XML forbids, as it was probably meant:
///
/// - References that neither XML nor HTML knows are text, those to forbidden characters are left out.
/// - A `<` that begins no tag is text. A tag without its `>` ends where the next begins, if it has quoted attributes.
/// - Attributes get their quotes, an empty value where they have none, and count once. A value without its closing
/// quote
///   ends with the tag.
/// - An end tag closes what is open inside of its element, but those of markup nothing that is a part of a feed, and
///   those of such a part no item. One of nothing open is left out. An item inside of an item closes that one.
/// - HTML's empty elements are empty unless their end tag is the next one.
/// - References to what the document declares are its text, as long as all of them are no longer than the document.
/// - Comments, processing instructions, the document type and what stands around the root element are left out.
///
/// `text` and `missingEnds` together are well-formed. Names are those of ASCII. At most twelve times as long as `text`,
/// in time that grows with the text times the logarithm of the number of names open at once. Throws std::bad_alloc.
MendedXml mendXml(std::string_view text);

}  // namespace quillmoria
