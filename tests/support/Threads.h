#pragma once
// Threads by the platform's own calls: not every compiler for Windows has std::thread.

#include <gtest/gtest.h>

#include <functional>

#include "platform/platform.h"

namespace test {

constexpr DWORD kLong = 20000;  ///< milliseconds; never reached unless something is broken

struct Handle {
  HANDLE value;
  explicit Handle(HANDLE h) : value(h) { EXPECT_NE(h, nullptr); }
  explicit Handle(std::uintptr_t h) : Handle(reinterpret_cast<HANDLE>(h)) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { CloseHandle(value); }
  operator HANDLE() const { return value; }
};

using Body = std::function<void()>;
inline unsigned __stdcall RunBody(void* body) {
  (*static_cast<Body*>(body))();
  return 0;
}
inline std::uintptr_t Begin(Body& body, unsigned stackSize = 0) {
  return _beginthreadex(nullptr, stackSize, RunBody, &body, 0, nullptr);
}

/// A thread; the destructor waits for its end.
class Thread {
 public:
  explicit Thread(Body body) : body_(std::move(body)), handle_(Begin(body_)) {}
  ~Thread() { Join(); }
  void Join() { EXPECT_EQ(WaitForSingleObject(handle_, kLong), WAIT_OBJECT_0); }

 private:
  Body body_;
  Handle handle_;
};

/// A thread that waits once for an object; the constructor gives it time to begin the wait.
class Sleeper {
 public:
  explicit Sleeper(HANDLE handle, DWORD milliseconds = kLong)
      : thread_([this, handle, milliseconds] { result_ = WaitForSingleObject(handle, milliseconds); }) {
    Sleep(50);
  }
  DWORD Result() {
    thread_.Join();
    return result_;
  }

 private:
  DWORD result_ = WAIT_FAILED;
  Thread thread_;
};

}  // namespace test
