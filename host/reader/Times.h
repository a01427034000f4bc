#pragma once

#include <string>

#include "quillmoria/CTime.h"

namespace quillmoria {

/// A moment as people say it at the moment `now`: "14:05", "yesterday 09:15", "tomorrow 09:15", "Monday", "3 March", "3
/// March 2024". Empty for no time.
std::string saidTime(CTime time, CTime now);

/// "Monday, 3 March 2025, 14:05"; empty for no time.
std::string exactTime(CTime time);

}  // namespace quillmoria
