#include "platform/ModuleEntry.h"

#include <dlfcn.h>

#include <cstdlib>
#include <utility>

namespace quillmoria {
namespace {

constinit bool loaded = false;

/// The file that holds this code, as the loader knows it.
const char* ownFile() {
  Dl_info info;
  return dladdr(reinterpret_cast<void*>(&loadModule), &info) ? info.dli_fname : nullptr;
}

[[gnu::constructor]] void onLoad() { loadModule(&loaded); }
[[gnu::destructor]] void onUnload() { unloadModule(&loaded); }

}  // namespace

bool loadModule(void* instance) {
  buildModuleObjects();
  loaded = DllMain(instance, DLL_PROCESS_ATTACH, nullptr);
  if (!loaded) destroyModuleObjects();
  return loaded;
}

void unloadModule(void* instance) {
  if (!std::exchange(loaded, false)) return;
  DllMain(instance, DLL_PROCESS_DETACH, nullptr);
  destroyModuleObjects();
}

void callAtExit(void (*shutDown)()) { std::atexit(shutDown); }

ModuleReference::ModuleReference() : handle_(dlopen(ownFile(), RTLD_NOLOAD | RTLD_LAZY)) {}

ModuleReference::ModuleReference(ModuleReference&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

ModuleReference& ModuleReference::operator=(ModuleReference&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

ModuleReference::~ModuleReference() {
  if (handle_) dlclose(handle_);
}

}  // namespace quillmoria
