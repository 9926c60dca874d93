#pragma once
// The table behind the handles: what CloseHandle closes.

#include <memory>

#include "platform/posix/types.h"

namespace platform::detail {

/// Something that a handle can stand for. Shared: it lives on while a call that has looked it up still uses
/// it.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// What CloseHandle does with an object that no call uses any more; the destructor does it otherwise.
  /// @return whether that has worked
  virtual bool Close() { return true; }

  /// Whether a call of its own closes it, and CloseHandle does not.
  virtual bool HasOwnClose() const { return false; }
};

/// @return a new handle for @p object, never null or all ones; null when memory or handles are short
HANDLE OpenHandle(std::shared_ptr<Object> object) noexcept;

/// @return the object of an open handle; empty for any other value
std::shared_ptr<Object> FindAnyObject(HANDLE handle);

/// @return the object of an open handle, when it is a T; empty otherwise
template <class T>
std::shared_ptr<T> FindObject(HANDLE handle) {
  return std::dynamic_pointer_cast<T>(FindAnyObject(handle));
}

/// Closes an open handle, if its object is of the kind. The object goes with what is returned.
/// @return empty, and nothing is closed, otherwise
std::shared_ptr<Object> CloseObject(HANDLE handle, bool (*isOfKind)(const Object&));

}  // namespace platform::detail
