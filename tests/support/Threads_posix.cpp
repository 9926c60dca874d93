#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/support/Threads.h"

std::uint32_t test::ThreadNumber() {
  return static_cast<std::uint32_t>(gettid());
}

bool test::IsAsleep(std::uint32_t thread) {
  std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(stat), {}};
  const auto name = text.rfind(')');
  return name != std::string::npos && text[name + 2] == 'S';
}
