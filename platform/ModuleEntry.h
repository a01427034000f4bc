#pragma once

#include <cstdint>

namespace quillmoria {

// Reasons of the entry routine.
inline constexpr std::uint32_t DLL_PROCESS_DETACH = 0;
inline constexpr std::uint32_t DLL_PROCESS_ATTACH = 1;
inline constexpr std::uint32_t DLL_THREAD_ATTACH = 2;
inline constexpr std::uint32_t DLL_THREAD_DETACH = 3;

// Defined in module/; called by the platform alone, one call at a time.

/// Builds the module-wide objects, in their order.
void buildModuleObjects();

/// Destroys them in reverse order.
void destroyModuleObjects();

/// The entry routine. `instance` tells the loaded library. False refuses the load (DLL_PROCESS_ATTACH) or is never
/// returned (the others).
bool DllMain(void* instance, std::uint32_t reason, void* reserved);

// Defined by the platform.

/// What happens when the library is loaded: builds the module-wide objects and calls the entry routine. If that
/// refuses, the objects are destroyed again and the result is false: the engine is inert, and every call into it does
/// nothing.
bool loadModule(void* instance);

/// What happens when the library is unloaded and when the process ends; the reverse of loadModule. Nothing if that
/// failed.
void unloadModule(void* instance);

/// Asks for `shutDown` to be called when the process ends, before anything is torn down that was set up before this
/// call, or else when the library is unloaded. May be asked for repeatedly, and `shutDown` must bear to be called so.
/// It is not called in a forked copy of the process. Throws std::bad_alloc.
void callAtExit(void (*shutDown)());

/// Keeps the library mapped as long as it lives, so that a thread may run its code beyond the host's last use of it.
/// The library's own code may drop a reference only while another one is held.
class ModuleReference {
 public:
  ModuleReference();
  ModuleReference(ModuleReference&& other) noexcept;
  ModuleReference& operator=(ModuleReference&& other) noexcept;
  ~ModuleReference();

  /// Never drops the reference: the library stays mapped.
  void keepForGood() { handle_ = nullptr; }

 private:
  void* handle_;  ///< null where the code is part of the program itself
};

}  // namespace quillmoria
