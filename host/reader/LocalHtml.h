#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// Whether `html`, which the engine has made safe, asks for images, sounds or films from elsewhere.
bool asksElsewhere(std::string_view html);

/// `html`, which the engine has made safe, so that it asks for nothing: what images from elsewhere show stands in their
/// place, and links in that of sounds and films.
std::string withoutAsking(std::string_view html);

}  // namespace quillmoria
