#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "quillmoria/OPML.h"

namespace quillmoria {

/// What the user has subscribed to: `subscriptions.opml` in the base folder. Empty if there is no such file yet. Feeds
/// in no container stand at the top. Throws Failure if the file cannot be read or is damaged.
OPMLDoc readSubscriptions(const std::string& baseFolder);

/// Lets `change` work on the subscriptions as they are and, if it says that there was something to change, keeps them.
/// Nobody else changes them meanwhile, and the file is whole at any time. Throws Failure, and has then changed nothing.
void changeSubscriptions(const std::string& baseFolder, const std::function<bool(OPMLDoc&)>& change);

/// Whether an address fits into a line of the file, so that it is read as it was.
bool fitsList(std::string_view url);

/// Whether a list has a line that the engine would read in pieces, if it came from a file.
bool hasLongLine(std::string_view list);

/// Takes the outline off that a list without nesting comes back under.
void unwrap(OPMLDoc& list);

}  // namespace quillmoria
