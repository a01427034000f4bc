#include "platform/Trace.h"

#ifndef NDEBUG

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace quillmoria {

void trace(const char* format, ...) {
  if (!std::getenv("QUILLMORIA_TRACE")) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

}  // namespace quillmoria

#endif
