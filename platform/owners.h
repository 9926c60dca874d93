#pragma once
// Copies of an object hold the same handles and blocks. This is how they agree on who gives them back.

#include <memory>

namespace cmm {

/// The owners of one thing that an object has opened - a file, a conversion, a heap: how many copies hold it,
/// and whether it is still open. Stands beside the fields that name the thing and is copied with them. An
/// operation asks IsOpen first; what gives the thing back calls End; an object that goes gives it back only
/// when it IsLast. An object and its copies serve one thread at a time together.
class Owners {
 public:
  /// The thing is open, and this object is its one owner. @return false when memory is short
  bool Begin() noexcept {
    try {
      open_ = std::make_shared<bool>(true);
      return true;
    } catch (...) {
      return false;
    }
  }
  bool IsOpen() const noexcept { return open_ != nullptr && *open_; }
  /// @return whether no other owner would be left
  bool IsLast() const noexcept { return open_.use_count() <= 1; }
  /// The thing is closed, for the other owners too.
  void End() noexcept {
    if (open_ != nullptr) *open_ = false;
    open_.reset();
  }

 private:
  std::shared_ptr<bool> open_;
};

}  // namespace cmm
