#include "tests/support/Threads.h"

std::uint32_t test::ThreadNumber() {
  return GetCurrentThreadId();
}

bool test::IsAsleep(std::uint32_t) {
  Sleep(50);
  return true;
}
