#pragma once
// Process-wide objects that are never destroyed.

#include <cstddef>
#include <memory>

namespace platform::detail {

/// @return the process's one T. The first call makes it, without the heap. It is never destroyed, since
///         threads may use it while the process's static objects are being destroyed
template <class T>
T& NeverDestroyed() {
  alignas(T) static std::byte memory[sizeof(T)];
  static T& object = *std::construct_at(reinterpret_cast<T*>(memory));
  return object;
}

}  // namespace platform::detail
