#pragma once

namespace quillmoria {

/// Gives memory that the process has freed back to the system. Takes milliseconds: for after something large. Any
/// thread.
void returnFreedMemory() noexcept;

}  // namespace quillmoria
