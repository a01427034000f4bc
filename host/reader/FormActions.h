#pragma once

#include <string>
#include <string_view>

#include "reader/ReaderState.h"
#include "reader/View.h"

namespace quillmoria {

/// A form that a page has sent.
struct Form {
  Fields fields;
  std::string list{};  ///< the content of a file sent with it
};

/// Does what the form `action` asks for, and returns the view to be shown then: the one that the form came from or what
/// it led to, with a notice of what has happened. What cannot be done is said by a notice as well. Any thread; adding
/// asks the network meanwhile.
View perform(std::string_view action, const Form& form, ReaderState& reader);

/// Whether there is such an action.
bool isAction(std::string_view action);

}  // namespace quillmoria
