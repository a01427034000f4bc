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

/// Ends what they do and releases what they hold, in reverse order. The objects themselves stay: a thread of the host's
/// that is still in a call, or makes one while the process ends, finds them whole, and closed.
void closeModuleObjects();

/// The entry routine. `instance` tells the loaded library. False refuses the load (DLL_PROCESS_ATTACH) or is never
/// returned (the others).
bool DllMain(void* instance, std::uint32_t reason, void* reserved);

// Defined by the platform.

/// What happens when the library is loaded: builds the module-wide objects and calls the entry routine. If that
/// refuses, the objects are closed and the result is false: the engine is inert, no pull starts and nothing is fetched.
bool loadModule(void* instance);

/// What happens when the library is unloaded and when the process ends; the reverse of loadModule. Nothing if that
/// failed.
void unloadModule(void* instance);

}  // namespace quillmoria
