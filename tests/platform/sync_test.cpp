#include "platform/posix/sync.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr DWORD kLong = 20000;  // never reached unless something is broken

struct Handle {
  HANDLE value;
  explicit Handle(HANDLE h) : value(h) { EXPECT_NE(h, nullptr); }
  explicit Handle(std::uintptr_t h) : Handle(reinterpret_cast<HANDLE>(h)) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { CloseHandle(value); }
  operator HANDLE() const { return value; }
};

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

using Body = std::function<void()>;
unsigned __stdcall RunBody(void* body) {
  (*static_cast<Body*>(body))();
  return 0;
}
std::uintptr_t Begin(Body& body, unsigned stackSize = 0) {
  return _beginthreadex(nullptr, stackSize, RunBody, &body, 0, nullptr);
}

/// A thread that waits once for an object; the constructor returns when it sleeps there.
class Sleeper {
 public:
  explicit Sleeper(HANDLE handle, DWORD milliseconds = kLong)
      : thread_([this, handle, milliseconds] {
          id_ = gettid();
          result_ = WaitForSingleObject(handle, milliseconds);
          done_ = true;
        }) {
    for (int asleep = 0; asleep < 3 && !done_;) {
      std::this_thread::sleep_for(2ms);
      asleep = id_ != 0 && State() == 'S' ? asleep + 1 : 0;
    }
  }
  ~Sleeper() {
    if (thread_.joinable()) thread_.join();
  }
  DWORD Result() {
    thread_.join();
    return result_;
  }

 private:
  char State() const {
    std::ifstream stat("/proc/self/task/" + std::to_string(id_) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(stat), {}};
    const auto name = text.rfind(')');
    return name == std::string::npos ? '?' : text[name + 2];
  }
  std::atomic<pid_t> id_{0};
  std::atomic<bool> done_{false};
  DWORD result_ = WAIT_FAILED;
  std::thread thread_;
};

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

TEST(Wait, RefusesWhatCannotBeWaitedFor) {
  Handle event(CreateEventA(nullptr, TRUE, TRUE, nullptr));
  HANDLE closed = AutoEvent();
  CloseHandle(closed);
  EXPECT_EQ(WaitAny({event, closed}, 0), WAIT_FAILED);  // though the first is signalled
  EXPECT_EQ(WaitAny({}, INFINITE), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, nullptr, FALSE, 0, QS_ALLEVENTS), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event.value, TRUE, 0, QS_ALLEVENTS), WAIT_FAILED);
  EXPECT_EQ(WaitAny(std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS - 1, event), 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitAny(std::vector<HANDLE>(MAXIMUM_WAIT_OBJECTS, event), 0), WAIT_FAILED);
}

TEST(Mutex, IsItsOwnersAsOftenAsTaken) {
  Handle mutex(NewMutex(TRUE));
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
  std::thread([&] {
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
    EXPECT_FALSE(ReleaseMutex(mutex));
  }).join();
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
  std::thread(take).join();  // a thread of the host's own
  EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_ABANDONED);
}

TEST(Mutex, GoesToWhoWaitsBeforeItsLastOwnerGetsItAgain) {
  Handle mutex(NewMutex());
  Handle held(AutoEvent());
  std::atomic<bool> stop{false};
  Body hog = [&] {
    while (!stop) {
      WaitForSingleObject(mutex, INFINITE);
      SetEvent(held);
      std::this_thread::sleep_for(1ms);
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
  std::thread([&] {
    HANDLE before = NewMutex(TRUE);
    WaitForSingleObject(kept, kLong);
    HANDLE after = NewMutex(TRUE);
    EXPECT_TRUE(CloseHandle(before));
    EXPECT_TRUE(CloseHandle(after));
    EXPECT_FALSE(ReleaseMutex(after));
  }).join();
  EXPECT_EQ(WaitForSingleObject(kept, 0), WAIT_ABANDONED);
}

TEST(Handle, RefusesWhatIsNotOpenEvenWhenItsPlaceIsUsedAgain) {
  int local = 0;
  const HANDLE minusOne = reinterpret_cast<HANDLE>(std::intptr_t{-1});
  const HANDLE stale = AutoEvent();
  EXPECT_TRUE(CloseHandle(stale));
  for (int i = 0; i < 1000; ++i) {
    Handle next(AutoEvent());
    ASSERT_NE(next.value, stale);
  }
  Handle event(AutoEvent());
  Handle mutex(NewMutex(TRUE));
  for (const HANDLE handle : {HANDLE{nullptr}, HANDLE{&local}, minusOne, stale}) {
    EXPECT_FALSE(SetEvent(handle));
    EXPECT_FALSE(ResetEvent(handle));
    EXPECT_FALSE(ReleaseMutex(handle));
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED);
  }
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
  EXPECT_FALSE(SetEvent(mutex));
  EXPECT_FALSE(ReleaseMutex(event));
  EXPECT_EQ(CreateEventA(nullptr, TRUE, TRUE, "name"), nullptr);
  EXPECT_EQ(CreateMutexA(nullptr, TRUE, "name"), nullptr);
}

TEST(Handle, ClosesUnderAWaitThatGoesOn) {
  Handle leave(AutoEvent());
  Handle taken(AutoEvent());
  HANDLE mutex = NewMutex();
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

TEST(Com, IsEnteredByEachThreadOnItsOwn) {
  CoUninitialize();  // one too many
  EXPECT_EQ(CoInitialize(nullptr), S_OK);
  EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
  std::thread([] { EXPECT_EQ(CoInitialize(nullptr), S_OK); }).join();
  CoUninitialize();
  CoUninitialize();
  EXPECT_EQ(CoInitialize(nullptr), S_OK);
}

}  // namespace
