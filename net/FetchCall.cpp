#include "net/FetchCall.h"

#include <utility>

#include "net/FetchState.h"

namespace quillmoria {

FetchCall::FetchCall() {
  // Before the lock: whoever unloads the library holds the loader and then waits for the lock.
  ModuleReference module = ModuleReference::take();
  const MutexLock lock(fetchState->mutex);
  ++fetchState->calls;
  std::swap(fetchState->module, module);
}

FetchCall::~FetchCall() {
  const MutexLock lock(fetchState->mutex);
  --fetchState->calls;
}

void FetchCall::releaseModule() {
  ModuleReference module;
  const MutexLock lock(fetchState->mutex);
  if (fetchState->calls == 0) std::swap(fetchState->module, module);
}

}  // namespace quillmoria
