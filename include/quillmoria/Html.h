#pragma once

#include <string>
#include <string_view>

#include "quillmoria/export.h"

namespace quillmoria {

/// `html`, a piece of a page that a stranger has written, as safe HTML: what can be shown in a page of one's own
/// without running, sending or restyling anything. UTF-8 both; any thread.
///
///     view.show("<article>" + SanitizeHtml(text, item.link) + "</article>");
///
/// Elements and attributes that an allow-list does not name are gone, scripts, styles and frames with what they hold,
/// forms but for their text; a frame that shows a video becomes a link to it. Addresses are those of http, https and
/// mailto, and for images `data:image/`; relative ones are resolved against `baseUrl`, and go if that is no http or
/// https address. The result is written anew: every element closed, everything escaped. It takes time in proportion to
/// the text; nesting beyond 256 elements is flattened. Throws std::bad_alloc.
QUILLMORIA_EXPORT std::string SanitizeHtml(std::string_view html, std::string_view baseUrl = {});

/// What a reader sees of `html`, in one line: tags gone, scripts and styles with what they hold, references resolved,
/// white space collapsed. UTF-8 both; the result is text, not HTML. Any thread. Throws std::bad_alloc.
QUILLMORIA_EXPORT std::string PlainText(std::string_view html);

}  // namespace quillmoria

// The interface's classes are global, and so is what is called beside them.
using quillmoria::PlainText;
using quillmoria::SanitizeHtml;
