#pragma once
/// @file
/// A reference count for what the copies of an object share. The copies hold the same handles and blocks; the
/// last of them gives these back.

#include <memory>

namespace cmm {

/// The owners of one thing that an object has opened (a file, a conversion, a heap): how many copies share
/// it, and whether it is still open. It is a field beside those that name the thing, and is copied with them.
///
/// An operation asks IsOpen first. The operation that closes the thing calls End. A destructor closes it only
/// when IsLast. Threads: any, but one at a time for an object together with its copies.
class Owners {
 public:
  /// To be called once the thing is open: this object is its one owner then.
  /// @return true: it is
  /// @return false: memory is short; nothing has changed
  bool Begin() noexcept {
    try {
      open_ = std::make_shared<bool>(true);
      return true;
    } catch (...) {
      return false;
    }
  }
  /// @return true from Begin until the End of any owner
  bool IsOpen() const noexcept { return open_ != nullptr && *open_; }
  /// @return true: no other owner would be left
  bool IsLast() const noexcept { return open_.use_count() <= 1; }
  /// To be called when the thing is closed. It is closed for the other owners too.
  void End() noexcept {
    if (open_ != nullptr) *open_ = false;
    open_.reset();
  }

 private:
  std::shared_ptr<bool> open_;
};

}  // namespace cmm
