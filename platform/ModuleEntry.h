#pragma once

#include <cstdint>

namespace quillmoria {

// Reasons of the entry routine.
inline constexpr std::uint32_t DLL_PROCESS_DETACH = 0;
inline constexpr std::uint32_t DLL_PROCESS_ATTACH = 1;
inline constexpr std::uint32_t DLL_THREAD_ATTACH = 2;
inline constexpr std::uint32_t DLL_THREAD_DETACH = 3;

/// The module's entry routine, defined in module/. The platform calls it with DLL_PROCESS_ATTACH when the library is
/// loaded, before any other call into it, and with DLL_PROCESS_DETACH when it is unloaded or the process ends, if the
/// attach was true. A false attach leaves the engine inert. `instance` tells the loaded library; `reserved` is unused.
bool DllMain(void* instance, std::uint32_t reason, void* reserved);

/// Asks for `shutDown` to be called when the process ends, before anything is torn down that was set up before this
/// call, or when the library is unloaded, whichever comes first. May be asked for repeatedly; `shutDown` must bear that.
void callAtExit(void (*shutDown)());

/// Keeps the library mapped as long as it lives, so that a thread may run its code beyond the host's last use of it. The
/// last reference must not be dropped by code of the library.
class ModuleReference {
 public:
  ModuleReference();
  ModuleReference(ModuleReference&& other) noexcept;
  ModuleReference& operator=(ModuleReference&& other) noexcept;
  ~ModuleReference();

 private:
  void* handle_;  ///< null where the module is the program itself
};

}  // namespace quillmoria
