#pragma once
// The table of handles, and the base class of what CloseHandle closes.

#include <memory>

#include "platform/posix/types.h"

namespace platform::detail {

/// An object that has a handle. It is shared: it is not destroyed while a call that has looked it up uses it.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// Closes the object, for CloseHandle, when no call uses it any more. Otherwise the destructor does that.
  /// @return true: closed without a failure
  virtual bool Close() { return true; }

  /// @return true: another call than CloseHandle closes it
  virtual bool HasOwnClose() const { return false; }
};

/// Makes a handle.
/// @return the handle of @p object, neither null nor all ones
/// @return null: memory or handles are short
HANDLE OpenHandle(std::shared_ptr<Object> object) noexcept;

/// @return the object of an open handle
/// @return empty: not an open handle
std::shared_ptr<Object> FindAnyObject(HANDLE handle);

/// @return the object of an open handle
/// @return empty: not an open handle, or its object is no T
template <class T>
std::shared_ptr<T> FindObject(HANDLE handle) {
  return std::dynamic_pointer_cast<T>(FindAnyObject(handle));
}

/// Closes an open handle whose object is of the kind.
/// @return its object, which the caller may be the last to use
/// @return empty: not an open handle, or its object is not of the kind; nothing has changed
std::shared_ptr<Object> CloseObject(HANDLE handle, bool (*isOfKind)(const Object&));

}  // namespace platform::detail
