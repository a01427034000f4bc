#include "platform/ModuleEntry.h"

#include <utility>

#include "platform/ModuleReference.h"

namespace quillmoria {
namespace {

constinit bool loaded = false;

[[gnu::constructor]] void onLoad() { loadModule(&loaded); }
[[gnu::destructor]] void onUnload() { unloadModule(&loaded); }

}  // namespace

bool loadModule(void* instance) {
  buildModuleObjects();
  loaded = DllMain(instance, DLL_PROCESS_ATTACH, nullptr);
  if (!loaded) closeModuleObjects();
  return loaded;
}

void unloadModule(void* instance) {
  if (!std::exchange(loaded, false) || isForked()) return;
  DllMain(instance, DLL_PROCESS_DETACH, nullptr);
  closeModuleObjects();
}

}  // namespace quillmoria
