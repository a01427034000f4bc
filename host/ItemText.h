#pragma once

#include <cstdint>
#include <string>

#include "quillmoria/CTime.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// "2026-11-23 10:00" by the local clock, or as many spaces for no time.
std::string timeText(const CTime& time);

/// The title in one line; of an item without one its address.
std::string titleText(const RSSObject::NewsItemStruct& item);

/// "http://example.org/1.mp3 (audio/mpeg, 12.3 MB, 42:10)"
std::string enclosureText(const Enclosure& enclosure);

/// "12.3 MB"
std::string sizeText(std::int64_t bytes);

}  // namespace quillmoria
