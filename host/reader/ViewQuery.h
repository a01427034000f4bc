#pragma once

#include <string>

#include "quillmoria/NewsArchive.h"
#include "reader/View.h"

namespace quillmoria {

/// The items that a view lists, without texts. A category stands for those below it as well, by the subscriptions of
/// `baseFolder`; to look there takes no time that grows with the archive. Throws Failure.
ItemQuery queryOf(const View& view, const std::string& baseFolder);

}  // namespace quillmoria
