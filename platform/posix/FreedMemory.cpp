#include "platform/FreedMemory.h"

#include <malloc.h>

namespace quillmoria {

void returnFreedMemory() noexcept {
#ifdef __GLIBC__
  malloc_trim(0);  // else each thread's arena keeps as much as the thread ever held
#endif
}

}  // namespace quillmoria
