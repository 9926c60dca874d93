#pragma once
// What the objects with published interfaces have in common.

#include <atomic>

#include "platform/posix/dsound.h"

namespace platform::detail {

/// An object with one reference at first. The Release of the last one deletes it. Any thread.
template <class Interface, class... Others>
class ComObject : public Interface, public Others... {
 public:
  ComObject() = default;
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT __stdcall QueryInterface(REFIID iid, void** object) final {
    if (object == nullptr) return E_POINTER;
    *object = iid == IID_IUnknown ? static_cast<Interface*>(this) : Find(iid);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG __stdcall AddRef() final { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG __stdcall Release() final {
    const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~ComObject() = default;

 private:
  /// @return this object's interface @p iid
  /// @return null: it has no such interface
  virtual void* Find(REFIID iid) = 0;

  std::atomic<ULONG> count_ = 1;
};

}  // namespace platform::detail
