// How threads end: when that is told, what becomes of their mutexes, and what happens when memory is too
// short to notice it.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "tests/support/SystemCalls.h"
#include "tests/support/Threads.h"

namespace {

using namespace test;

/// Something that the host has done when one of its threads ends.
class HostKey {
 public:
  explicit HostKey(Body atEnd) : atEnd_(std::move(atEnd)) {
    pthread_key_create(&key_, [](void* self) { static_cast<HostKey*>(self)->atEnd_(); });
  }
  HostKey(const HostKey&) = delete;
  HostKey& operator=(const HostKey&) = delete;
  ~HostKey() { pthread_key_delete(key_); }
  void Set() { pthread_setspecific(key_, this); }

 private:
  Body atEnd_;
  pthread_key_t key_ = 0;
};

TEST(ThreadEnd, ComesBehindWhatTheHostHasDoneThen) {
  Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  Handle left(CreateMutexA(nullptr, FALSE, nullptr));
  BOOL released = FALSE;
  HostKey key([&] {
    Sleep(100);
    released = ReleaseMutex(mutex);
    WaitForSingleObject(left, 0);
  });
  for (const bool ours : {true, false}) {
    released = FALSE;
    Body body = [&] {
      key.Set();
      WaitForSingleObject(mutex, kLong);
    };
    if (ours) {
      Handle thread(Begin(body));
      EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    } else {
      std::thread(body).join();
    }
    EXPECT_TRUE(released);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(left, 0), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(left));
  }
}

TEST(ThreadEnd, OfAThreadThatUsesTheLayerOnlyThere) {
  Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  HostKey key([&] { WaitForSingleObject(mutex, 0); });
  std::thread([&] { key.Set(); }).join();
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
}

TEST(ThreadEnd, WithoutMemoryToNoticeItRefusesAThreadAndLeavesAMutexOwned) {
  if (!kHooksThreadKeys) GTEST_SKIP() << "the sanitizer takes no hook here";
  Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  int runs = 0;
  Body body = [&] { ++runs; };
  HookSystemCalls(
      [](const char* name, int) { return std::strcmp(name, "pthread_setspecific") ? 0 : ENOMEM; });
  const std::uintptr_t refused = Begin(body);
  DWORD taken = WAIT_FAILED;
  BOOL released = FALSE;
  std::thread([&] {
    taken = WaitForSingleObject(mutex, 0);
    released = ReleaseMutex(mutex);
    WaitForSingleObject(mutex, 0);
  }).join();
  HookSystemCalls(nullptr);
  EXPECT_EQ(refused, 0u);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(taken, WAIT_OBJECT_0);
  EXPECT_TRUE(released);
  DWORD other = WAIT_OBJECT_0;
  Body look = [&] { other = WaitForSingleObject(mutex, 0); };
  WaitForSingleObject(Handle(Begin(look)), kLong);
  EXPECT_EQ(other, WAIT_TIMEOUT);
}

}  // namespace
