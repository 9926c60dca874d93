// Events, mutexes, threads and waits, as published. What is the layer's own is in sync_layer_test.cpp.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <vector>

#include "tests/support/Threads.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using namespace test;

HANDLE AutoEvent() {
  return CreateEventA(nullptr, FALSE, FALSE, nullptr);
}
HANDLE NewMutex(BOOL owned = FALSE) {
  return CreateMutexA(nullptr, owned, nullptr);
}
DWORD WaitAny(const std::vector<HANDLE>& handles, DWORD milliseconds) {
  return MsgWaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, milliseconds,
                                   QS_ALLEVENTS);
}

TEST(Event, AutomaticResetLetsOneWaitPassAndManualAll) {
  for (const BOOL manual : {FALSE, TRUE}) {
    Handle event(CreateEventA(nullptr, manual, TRUE, nullptr));
    EXPECT_TRUE(SetEvent(event));  // counts once
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
  }
}

TEST(Event, OneSetReachesOneSleeperOfAnAutomaticEventAndAllOfAManualOne) {
  Handle automatic(AutoEvent());
  {
    Sleeper first(automatic);
    Sleeper second(automatic, 100);
    SetEvent(automatic);
    EXPECT_EQ(first.Result(), WAIT_OBJECT_0);  // who came first is served first
    EXPECT_EQ(second.Result(), WAIT_TIMEOUT);
  }
  Handle manual(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  Sleeper first(manual);
  Sleeper second(manual);
  SetEvent(manual);
  ResetEvent(manual);  // too late to take it back
  EXPECT_EQ(first.Result(), WAIT_OBJECT_0);
  EXPECT_EQ(second.Result(), WAIT_OBJECT_0);
}

TEST(Event, CarriesDataBetweenThreadsAtEveryTurn) {
  constexpr int kTurns = 10000;
  Handle ping(AutoEvent());
  Handle pong(AutoEvent());
  int shared = 0;  // handed over by the events alone
  Body body = [&] {
    for (int i = 0; i < kTurns; ++i) {
      ASSERT_EQ(WaitForSingleObject(ping, kLong), WAIT_OBJECT_0);
      ++shared;
      SetEvent(pong);
    }
  };
  Handle thread(Begin(body));
  for (int i = 0; i < kTurns; ++i) {
    ASSERT_EQ(shared, i);
    SetEvent(ping);
    ASSERT_EQ(WaitForSingleObject(pong, kLong), WAIT_OBJECT_0);
  }
  EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
}

TEST(Wait, ReportsTheLowestSignalledIndexAndTakesThatOneAlone) {
  Handle a(AutoEvent());
  Handle b(AutoEvent());
  Handle c(NewMutex());
  const std::vector<HANDLE> all{a, b, c};
  EXPECT_EQ(WaitAny(all, 0), WAIT_OBJECT_0 + 2);
  SetEvent(b);
  SetEvent(a);
  EXPECT_EQ(WaitAny(all, kLong), WAIT_OBJECT_0);
  EXPECT_EQ(WaitAny(all, kLong), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitAny({a, b}, 0), WAIT_TIMEOUT);
}

TEST(Wait, LastsForItsLimit) {
  Handle event(AutoEvent());
  for (const std::vector<HANDLE>& handles : {std::vector<HANDLE>{event, event}, {}}) {
    const auto start = Clock::now();
    EXPECT_EQ(WaitAny(handles, 60), WAIT_TIMEOUT);
    EXPECT_GE(Clock::now() - start, 60ms);
    EXPECT_LT(Clock::now() - start, 5s);
  }
}

TEST(Wait, RefusesWhatIsClosedAndMoreThanItsMost) {
  Handle event(CreateEventA(nullptr, TRUE, TRUE, nullptr));
  HANDLE closed = AutoEvent();
  CloseHandle(closed);
  EXPECT_EQ(WaitAny({event, closed}, 0), WAIT_FAILED);  // though the first is signalled
  EXPECT_EQ(WaitAny(std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS - 1, event), 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitAny(std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS, event), 0), WAIT_FAILED);
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
  const auto take = [&] {
    WaitForSingleObject(first, kLong);
    WaitForSingleObject(second, kLong);
    WaitForSingleObject(second, kLong);
  };
  Body returns = take;
  Body ends = [&] { take(), _endthreadex(0); };
  for (Body* body : {&returns, &ends}) {
    Handle thread(Begin(*body));
    ASSERT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(WaitAny({thread, first}, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitAny({second, first}, 0), WAIT_ABANDONED_0);
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_ABANDONED);
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_OBJECT_0);  // told once
    for (const HANDLE mutex : {first.value, first.value, second.value}) EXPECT_TRUE(ReleaseMutex(mutex));
  }
}

TEST(Mutex, GoesToWhoWaitsBeforeItsLastOwnerGetsItAgain) {
  Handle mutex(NewMutex());
  Handle held(AutoEvent());
  std::atomic<bool> stop{false};
  Body hog = [&] {
    while (!stop) {
      WaitForSingleObject(mutex, INFINITE);
      SetEvent(held);
      Sleep(1);
      ReleaseMutex(mutex);
    }
  };
  Handle thread(Begin(hog));
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(WaitForSingleObject(held, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex, 2000), WAIT_OBJECT_0);
    ReleaseMutex(mutex);
  }
  stop = true;
  EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
}

TEST(Mutex, MayBeClosedWhileOwnedWithoutHarmToTheOwnersOthers) {
  Handle kept(NewMutex());
  Thread([&] {
    HANDLE before = NewMutex(TRUE);
    WaitForSingleObject(kept, kLong);
    HANDLE after = NewMutex(TRUE);
    EXPECT_TRUE(CloseHandle(before));
    EXPECT_TRUE(CloseHandle(after));
    EXPECT_FALSE(ReleaseMutex(after));
  }).Join();
  EXPECT_EQ(WaitForSingleObject(kept, 0), WAIT_ABANDONED);
}

TEST(Com, IsEnteredByEachThreadOnItsOwn) {
  CoUninitialize();  // one too many
  EXPECT_EQ(CoInitialize(nullptr), S_OK);
  EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
  Thread([] { EXPECT_EQ(CoInitialize(nullptr), S_OK); }).Join();
  CoUninitialize();
  CoUninitialize();
  EXPECT_EQ(CoInitialize(nullptr), S_OK);
}

}  // namespace
