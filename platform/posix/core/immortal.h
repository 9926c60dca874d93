#pragma once
// Process-wide objects that are never destroyed.

#include <cstddef>
#include <memory>

namespace platform::detail {

/// The process's one T: made by the first call, without the heap, and never destroyed, since threads may use
/// it while the process's static objects go.
template <class T>
T& Immortal() {
  alignas(T) static std::byte place[sizeof(T)];
  static T& object = *std::construct_at(reinterpret_cast<T*>(place));
  return object;
}

}  // namespace platform::detail
