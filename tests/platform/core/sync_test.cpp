// Events, mutexes, threads and waits, as published. What only the layer promises is in sync_layer_test.cpp.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "tests/support/Threads.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using namespace test;

HANDLE NewEvent(BOOL manual = FALSE) {
  return CreateEventA(nullptr, manual, FALSE, nullptr);
}
HANDLE NewMutex(BOOL owned = FALSE) {
  return CreateMutexA(nullptr, owned, nullptr);
}
DWORD WaitAny(const std::vector<HANDLE>& handles, DWORD milliseconds) {
  return MsgWaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, milliseconds,
                                   QS_ALLEVENTS);
}

TEST(Event, PassesOneWaitWhenAutomaticAndAllWhenManual) {
  for (const BOOL manual : {FALSE, TRUE}) {
    const DWORD next = manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    Handle event(CreateEventA(nullptr, manual, TRUE, nullptr));
    EXPECT_TRUE(SetEvent(event));  // counts once
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), next);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    Sleeper first(event);
    Sleeper second(event, manual ? kLong : 100);
    SetEvent(event);
    if (manual) ResetEvent(event);             // too late for those who wait
    EXPECT_EQ(first.Result(), WAIT_OBJECT_0);  // who came first is served first
    EXPECT_EQ(second.Result(), next);
  }
}

TEST(Wait, TakesTheLowestSignalledIndexAloneOrLastsForItsLimit) {
  Handle a(NewEvent());
  Handle b(NewEvent());
  Handle mutex(NewMutex());
  EXPECT_EQ(WaitAny({a, b, mutex}, 0), WAIT_OBJECT_0 + 2);
  SetEvent(b);
  SetEvent(a);
  EXPECT_EQ(WaitAny({a, b, mutex}, kLong), WAIT_OBJECT_0);
  EXPECT_EQ(WaitAny({a, b, mutex}, kLong), WAIT_OBJECT_0 + 1);
  for (const std::vector<HANDLE>& handles : {std::vector<HANDLE>{a, b}, {}}) {
    const auto start = Clock::now();
    EXPECT_EQ(WaitAny(handles, 60), WAIT_TIMEOUT);
    EXPECT_GE(Clock::now() - start, 60ms);
    EXPECT_LT(Clock::now() - start, 5s);
  }
  EXPECT_EQ(WaitAny(std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS - 1, mutex), 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitAny(std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS, mutex), 0), WAIT_FAILED);
}

TEST(Mutex, IsItsOwnersAsOftenAsTaken) {
  Handle mutex(NewMutex(TRUE));
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
  Thread([&] {
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
    EXPECT_FALSE(ReleaseMutex(mutex));
  }).Join();
  Sleeper sleeper(mutex);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(sleeper.Result(), WAIT_OBJECT_0);
  EXPECT_FALSE(ReleaseMutex(mutex));
}

TEST(Mutex, IsAbandonedByAnyThreadThatEndsWithIt) {
  Handle first(NewMutex());
  Handle second(NewMutex());
  for (const bool returns : {true, false}) {
    Body body = [&] {
      const HANDLE closed = NewMutex(TRUE);
      for (const HANDLE mutex : {first.value, second.value, second.value}) WaitForSingleObject(mutex, kLong);
      EXPECT_TRUE(CloseHandle(closed));  // without harm to the others
      EXPECT_FALSE(ReleaseMutex(closed));
      if (!returns) _endthreadex(0);
    };
    Handle thread(Begin(body));
    ASSERT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(WaitAny({second, first}, 0), WAIT_ABANDONED_0);
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_ABANDONED);
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_OBJECT_0);  // reported once
    for (const HANDLE mutex : {first.value, first.value, second.value}) EXPECT_TRUE(ReleaseMutex(mutex));
  }
}

}  // namespace
