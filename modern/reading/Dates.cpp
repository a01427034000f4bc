#include "modern/reading/Dates.h"

namespace quillmoria {

CTime readDate(std::string_view) { return CTime(); }

}  // namespace quillmoria
