#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace quillmoria {

/// Storage of one module-wide object, which the module entry builds when the library is loaded and destroys when it is
/// unloaded. Constant-initialised and trivially destroyed, so that no static constructor or destructor takes part.
template <class T>
class ModuleObject {
 public:
  template <class... Arguments>
  void build(Arguments&&... arguments) {
    object_ = ::new (static_cast<void*>(storage_)) T(std::forward<Arguments>(arguments)...);
  }
  void destroy() { std::destroy_at(std::exchange(object_, nullptr)); }

  /// False before the load and after the unload.
  explicit operator bool() const { return object_ != nullptr; }
  T& operator*() const { return *object_; }
  T* operator->() const { return object_; }

 private:
  T* object_ = nullptr;
  alignas(T) std::byte storage_[sizeof(T)] = {};
};

}  // namespace quillmoria
