// What the layer promises beyond the published calls: handles that are not open, threads, and their end: when
// it is signalled, what happens to their mutexes, and what when memory is too short to notice it.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>

#include "platform/posix/layer.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/Threads.h"

namespace {

using namespace test;
using namespace std::string_view_literals;

HANDLE NewEvent() {
  return CreateEventA(nullptr, FALSE, FALSE, nullptr);
}
HANDLE NewMutex() {
  return CreateMutexA(nullptr, FALSE, nullptr);
}

/// What a host does with its mutexes when one of its threads ends.
struct Host {
  Handle mutex{NewMutex()};
  Handle left{NewMutex()};
};
void EndInHost(void* given) {
  auto& host = *static_cast<Host*>(given);
  Sleep(100);
  ReleaseMutex(host.mutex);
  WaitForSingleObject(host.left, 0);
}

TEST(ThreadEnd, IsSignalledAfterTheHostsOwnDestructors) {
  Host host;
  WaitForSingleObject(host.mutex, 0);  // the layer's own key is made first: its destructor runs first
  ReleaseMutex(host.mutex);
  pthread_key_t key = 0;
  pthread_key_create(&key, EndInHost);
  Body body = [&] {
    pthread_setspecific(key, &host);
    WaitForSingleObject(host.mutex, kLong);
  };
  EXPECT_EQ(WaitForSingleObject(Handle(Begin(body)), kLong), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(host.mutex, 0), WAIT_OBJECT_0) << "the host has released it";
  EXPECT_EQ(WaitForSingleObject(host.left, 0), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(host.left));
  if (kHooksThreadKeys) {  // a sanitizer's end of the thread would come before the layer's
    std::thread([&] { pthread_setspecific(key, &host); }).join();  // uses the layer only there
    EXPECT_EQ(WaitForSingleObject(host.left, 0), WAIT_ABANDONED);
  }
  pthread_key_delete(key);
}

TEST(Handle, RefusesWhatIsNotOpenAndWaitsThatAreNotSupported) {
  int local = 0;
  const HANDLE stale = NewEvent();
  EXPECT_TRUE(CloseHandle(stale));
  for (int i = 0; i < 1000; ++i) ASSERT_NE(Handle(NewEvent()).value, stale);
  Handle event(NewEvent());
  Handle mutex(NewMutex());
  for (const HANDLE handle :
       {HANDLE{nullptr}, HANDLE{&local}, reinterpret_cast<HANDLE>(std::intptr_t{-1}), stale}) {
    EXPECT_FALSE(SetEvent(handle) || ResetEvent(handle) || ReleaseMutex(handle) || CloseHandle(handle));
    EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED);
  }
  EXPECT_FALSE(SetEvent(mutex) || ReleaseMutex(event));
  EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, INFINITE, QS_ALLEVENTS), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event.value, TRUE, 0, QS_ALLEVENTS), WAIT_FAILED);
}

TEST(Handle, ClosesDuringAWaitThatContinues) {
  const HANDLE mutex = NewMutex();
  std::optional<Sleeper> sleeper;
  std::thread owner([&] {  // one of the host's own
    WaitForSingleObject(mutex, kLong);
    sleeper.emplace(mutex);
    EXPECT_TRUE(CloseHandle(mutex));
  });
  owner.join();
  EXPECT_EQ(sleeper->Result(), WAIT_ABANDONED);
}

TEST(Thread, HasItsStackAndNoSignalsAndDestroysItsObjectsWhenItEndsItself) {
  for (const unsigned size : {1u, 32u << 20}) {  // so small a stack is raised
    auto object = std::make_shared<int>();
    const std::weak_ptr<int> left = object;
    sigset_t during, after;
    std::size_t stackSize = 0;
    Body body = [&] {
      const std::shared_ptr<int> taken = std::move(object);
      pthread_sigmask(SIG_BLOCK, nullptr, &during);
      pthread_attr_t attributes;
      pthread_getattr_np(pthread_self(), &attributes);
      pthread_attr_getstacksize(&attributes, &stackSize);
      pthread_attr_destroy(&attributes);
      _endthreadex(1);
    };
    Handle thread(Begin(body, size));
    for (int again = 0; again < 2; ++again) ASSERT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_TRUE(left.expired());
    EXPECT_GE(stackSize, size);
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    for (const int number : {SIGINT, SIGTERM, SIGCHLD, SIGXFSZ, SIGRTMAX})
      EXPECT_TRUE(sigismember(&during, number) && !sigismember(&after, number)) << number;
  }
}

TEST(ThreadEnd, WithoutMemoryToNoticeItRefusesAThreadAndLeavesAMutexOwned) {
  if (!kHooksThreadKeys) GTEST_SKIP() << "the sanitizer takes no hook here";
  Handle mutex(NewMutex());
  int runs = 0;
  Body body = [&] { ++runs; };
  HookSystemCalls([](const char* name, int) { return name == "pthread_setspecific"sv ? ENOMEM : 0; });
  EXPECT_EQ(Begin(body), 0u);
  std::thread([&] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0); }).join();
  HookSystemCalls(nullptr);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_TIMEOUT);
}

}  // namespace
