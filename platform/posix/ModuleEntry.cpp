#include "platform/ModuleEntry.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <utility>

/// Stands for the library that this is linked into.
extern "C" [[gnu::visibility("hidden")]] void* __dso_handle;

namespace quillmoria {
namespace {

constinit bool loaded = false;

/// The process that has used the library: what there is to shut down. 0 before the first use.
constinit std::atomic<pid_t> user = 0;

/// In a copy of that process, which has none of its threads, only the locks that they held. Nothing can be shut down.
bool isForked() { return user != 0 && user != getpid(); }

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
  if (!std::exchange(loaded, false) || isForked()) return;
  DllMain(instance, DLL_PROCESS_DETACH, nullptr);
  destroyModuleObjects();
}

void callAtExit(void (*shutDown)()) {
  user = getpid();
  // What std::atexit does, but with this library's name to it also where a sanitizer stands in between.
  constexpr auto unlessForked = [](void* function) {
    if (!isForked()) reinterpret_cast<void (*)()>(function)();
  };
  const int error = abi::__cxa_atexit(unlessForked, reinterpret_cast<void*>(shutDown), &__dso_handle);
  if (error != 0) throw std::bad_alloc();
}

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
