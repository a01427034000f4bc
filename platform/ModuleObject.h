#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace quillmoria {

/// Storage of one module-wide object, which the module entry builds when the library is loaded. Constant-initialised
/// and never destroyed, so that no static constructor or destructor takes part: a thread of the host's may be in a call
/// when the process ends. What the object holds is released by its own `close`.
template <class T>
class ModuleObject {
 public:
  /// The former object, if there is one, is destroyed.
  template <class... Arguments>
  void build(Arguments&&... arguments) {
    if (object_) std::destroy_at(object_);
    object_ = ::new (static_cast<void*>(storage_)) T(std::forward<Arguments>(arguments)...);
  }

  T& operator*() const { return *object_; }
  T* operator->() const { return object_; }

 private:
  T* object_ = nullptr;
  alignas(T) std::byte storage_[sizeof(T)] = {};
};

}  // namespace quillmoria
