#pragma once
// Included before GoogleTest's headers where the compiler has no std::mutex: stands in for the one class
// there that uses it. That class serves GoogleTest's tests of itself, and no such object is made here.

#define GTEST_HAS_NOTIFICATION_ 1

namespace testing::internal {

class Notification {
 public:
  Notification() = delete;
  void WaitForNotification() {}
};

}  // namespace testing::internal
