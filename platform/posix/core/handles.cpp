// The table of handles.
#include "platform/posix/core/handles.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "platform/posix/core/limits.h"
#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/sync.h"

namespace platform::detail {
namespace {

// A handle is a generation in its upper bits and an index in its lower ones. Closing a handle increments its
// slot's generation, so a stale handle does not match when the slot is in use again. Generations begin at 1,
// so no handle is null.
constexpr std::uintptr_t kLastGeneration = UINTPTR_MAX >> kHandleIndexBits;
constexpr std::size_t kMostSlots = kHandleIndexMask;  // a handle of all ones is a published mark of failure

class HandleTable {
 public:
  HANDLE Open(std::shared_ptr<Object> object) {
    const std::lock_guard lock(lock_);
    if (free_ == kMostSlots) {
      if (slots_.size() == kMostSlots) return nullptr;
      slots_.emplace_back();
      free_ = slots_.size() - 1;
    }
    const std::size_t index = free_;
    Slot& slot = slots_[index];
    free_ = slot.nextFree;
    slot.object = std::move(object);
    return reinterpret_cast<HANDLE>(slot.generation << kHandleIndexBits | index);
  }

  std::shared_ptr<Object> Find(HANDLE handle) {
    const std::lock_guard lock(lock_);
    const Slot* slot = FindSlot(handle);
    return slot ? slot->object : nullptr;
  }

  /// The caller destroys the object with what is returned, outside the lock.
  std::shared_ptr<Object> Close(HANDLE handle, bool (*isOfKind)(const Object&)) {
    const std::lock_guard lock(lock_);
    Slot* slot = FindSlot(handle);
    if (!slot || !isOfKind(*slot->object)) return nullptr;
    slot->generation = slot->generation == kLastGeneration ? 1 : slot->generation + 1;
    slot->nextFree = free_;
    free_ = static_cast<std::size_t>(slot - slots_.data());
    return std::move(slot->object);
  }

 private:
  struct Slot {
    std::shared_ptr<Object> object;  // empty: the slot is free
    std::uintptr_t generation = 1;
    std::size_t nextFree = kMostSlots;
  };

  Slot* FindSlot(HANDLE handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    const std::size_t index = value & kHandleIndexMask;
    if (index >= slots_.size()) return nullptr;
    Slot& slot = slots_[index];
    return slot.object && slot.generation == value >> kHandleIndexBits ? &slot : nullptr;
  }

  std::mutex lock_;
  std::vector<Slot> slots_;
  std::size_t free_ = kMostSlots;  // first of the free slots, chained by nextFree
};

}  // namespace

HANDLE OpenHandle(std::shared_ptr<Object> object) noexcept {
  try {
    return NeverDestroyed<HandleTable>().Open(std::move(object));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

std::shared_ptr<Object> FindAnyObject(HANDLE handle) {
  return NeverDestroyed<HandleTable>().Find(handle);
}

std::shared_ptr<Object> CloseObject(HANDLE handle, bool (*isOfKind)(const Object&)) {
  return NeverDestroyed<HandleTable>().Close(handle, isOfKind);
}

}  // namespace platform::detail

BOOL CloseHandle(HANDLE handle) {
  using namespace platform::detail;
  const auto isOfKind = [](const Object& object) { return !object.HasOwnClose(); };
  const std::shared_ptr<Object> object = CloseObject(handle, isOfKind);
  if (!object) return FALSE;
  // A call that still uses the object destroys it when it returns; no other call can find it any more.
  return object.use_count() > 1 || object->Close() ? TRUE : FALSE;
}
