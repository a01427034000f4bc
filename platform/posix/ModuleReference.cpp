#include "platform/ModuleReference.h"

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

/// The process that has used the library: what there is to shut down. 0 before the first use.
constinit std::atomic<pid_t> user = 0;

/// The file that holds the function at `code`, as the loader knows it.
const char* fileOf(const void* code) {
  Dl_info info;
  return dladdr(code, &info) ? info.dli_fname : nullptr;
}

void* loadedLibraryOf(const void* code, int flags) {
  const char* const file = fileOf(code);
  return file ? dlopen(file, RTLD_NOLOAD | RTLD_LAZY | flags) : nullptr;
}

}  // namespace

bool isForked() { return user != 0 && user != getpid(); }

void callAtExit(void (*shutDown)()) {
  user = getpid();
  // What std::atexit does, but with this library's name to it also where a sanitizer stands in between.
  constexpr auto unlessForked = [](void* function) {
    if (!isForked()) reinterpret_cast<void (*)()>(function)();
  };
  const int error = abi::__cxa_atexit(unlessForked, reinterpret_cast<void*>(shutDown), &__dso_handle);
  if (error != 0) throw std::bad_alloc();
}

ModuleReference ModuleReference::take() {
  user = getpid();
  return ModuleReference(loadedLibraryOf(reinterpret_cast<const void*>(&callAtExit), 0));
}

ModuleReference::ModuleReference(ModuleReference&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

ModuleReference& ModuleReference::operator=(ModuleReference&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

ModuleReference::~ModuleReference() {
  if (handle_) dlclose(handle_);
}

void keepMapped(const void* code) {
  // The flag outlives the handle.
  if (void* const library = loadedLibraryOf(code, RTLD_NODELETE)) dlclose(library);
}

}  // namespace quillmoria
