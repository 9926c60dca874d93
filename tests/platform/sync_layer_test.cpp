// What the layer promises beyond the published calls: of handles that are none, of threads.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/posix/layer.h"
#include "tests/support/Threads.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using namespace test;

HANDLE NewEvent() {
  return CreateEventA(nullptr, FALSE, FALSE, nullptr);
}

TEST(Mutex, IsAbandonedByAThreadOfTheHostsOwnToo) {
  Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  std::thread([&] { WaitForSingleObject(mutex, kLong); }).join();
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
}

TEST(Handle, RefusesWhatIsNotOpenAndCallsThatAreNotThere) {
  int local = 0;
  const HANDLE minusOne = reinterpret_cast<HANDLE>(std::intptr_t{-1});
  const HANDLE stale = NewEvent();
  EXPECT_TRUE(CloseHandle(stale));
  for (int i = 0; i < 1000; ++i) {
    Handle next(NewEvent());
    ASSERT_NE(next.value, stale);
  }
  Handle event(NewEvent());
  Handle mutex(CreateMutexA(nullptr, TRUE, nullptr));
  for (const HANDLE handle : {HANDLE{nullptr}, HANDLE{&local}, minusOne, stale}) {
    EXPECT_FALSE(SetEvent(handle));
    EXPECT_FALSE(ResetEvent(handle));
    EXPECT_FALSE(ReleaseMutex(handle));
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED);
  }
  platform::DestroyComboBox(static_cast<HWND>(event.value));
  EXPECT_EQ(SendMessageA(static_cast<HWND>(event.value), CB_GETCOUNT, 0, 0), 0);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
  EXPECT_FALSE(SetEvent(mutex));
  EXPECT_FALSE(ReleaseMutex(event));
  EXPECT_EQ(CreateEventA(nullptr, TRUE, TRUE, "name"), nullptr);
  EXPECT_EQ(CreateMutexA(nullptr, TRUE, "name"), nullptr);
  SetEvent(event);
  EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, INFINITE, QS_ALLEVENTS), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, nullptr, FALSE, 0, QS_ALLEVENTS), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event.value, TRUE, 0, QS_ALLEVENTS), WAIT_FAILED);
}

TEST(Handle, ClosesUnderAWaitThatGoesOn) {
  Handle leave(NewEvent());
  Handle taken(NewEvent());
  HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
  std::thread owner([&] {
    WaitForSingleObject(mutex, kLong);
    SetEvent(taken);
    WaitForSingleObject(leave, kLong);
  });
  WaitForSingleObject(taken, kLong);
  Sleeper sleeper(mutex);
  EXPECT_TRUE(CloseHandle(mutex));
  SetEvent(leave);
  owner.join();
  EXPECT_EQ(sleeper.Result(), WAIT_ABANDONED);
}

TEST(Thread, HasAllSignalsBlockedAndItsStackAndLeavesTheCallersMask) {
  sigset_t before, during, after;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  std::size_t stackSize = 0;
  Body body = [&] {
    pthread_sigmask(SIG_BLOCK, nullptr, &during);
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &stackSize);
    pthread_attr_destroy(&attributes);
  };
  Handle thread(Begin(body, 32 << 20));
  ASSERT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int number : {SIGINT, SIGTERM, SIGCHLD, SIGALRM, SIGXFSZ, SIGUSR1, SIGRTMAX}) {
    EXPECT_TRUE(sigismember(&during, number)) << number;
    EXPECT_EQ(sigismember(&after, number), sigismember(&before, number)) << number;
  }
  EXPECT_GE(stackSize, std::size_t{32} << 20);
}

TEST(Thread, EndsInTheMiddleOfItsRoutineWithItsObjectsDestroyed) {
  bool destroyed = false;
  Body body = [&] {
    struct Mark {
      bool& flag;
      ~Mark() { flag = true; }
    } mark{destroyed};
    _endthreadex(1);
  };
  Handle thread(Begin(body, 1));  // so small a stack is made to do
  ASSERT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);  // it stays ended
  EXPECT_TRUE(destroyed);
}

TEST(Thread, IsGoneAfterItsEndThoughItsHandleStaysOpen) {
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                         std::filesystem::directory_iterator());
  };
  std::atomic<int> runs{0};
  Body body = [&] { ++runs; };
  std::thread([] {}).join();  // a sanitizer adds a thread of its own to the first
  const auto before = threads();
  std::vector<HANDLE> handles;
  for (int i = 0; i < 40; ++i) {
    handles.push_back(reinterpret_cast<HANDLE>(Begin(body)));
    ASSERT_NE(handles.back(), nullptr);
    if (i % 2) CloseHandle(handles.back()), handles.pop_back();  // it goes on without
  }
  for (const HANDLE handle : handles) EXPECT_EQ(WaitForSingleObject(handle, kLong), WAIT_OBJECT_0);
  const auto limit = Clock::now() + 20s;
  while ((runs != 40 || threads() > before) && Clock::now() < limit) std::this_thread::sleep_for(5ms);
  EXPECT_EQ(runs, 40);
  EXPECT_LE(threads(), before);
  for (const HANDLE handle : handles) EXPECT_TRUE(CloseHandle(handle));
}

}  // namespace
