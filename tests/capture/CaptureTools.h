#pragma once
// What the tests of capture share: bounded waiting, the state, the debug messages.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "capture/CMMWAVCapture.h"
#include "platform/posix/layer.h"
#include "tests/capture/FakeDevice.h"
#include "tests/support/Formats.h"
#include "tests/support/files.h"

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kHeaderBytes = 56;

inline double SecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Waits until @p condition holds, far longer than it should need. @return whether it held in time
inline bool Eventually(const std::function<bool()>& condition, int milliseconds = 10000) {
  for (const auto begin = Clock::now(); !condition(); Sleep(1)) {
    if (SecondsSince(begin) * 1000 > milliseconds) return false;
  }
  return true;
}

inline std::uint32_t StateOf(CMMWAVCapture& capture) {
  std::uint32_t state = 99;  // when the query times out
  capture.GetState(&state, nullptr);
  return state;
}

/// The debug messages while it exists. They come from one thread at a time.
struct MessageLog {
  MessageLog() { platform::SetDebugSink(&MessageLog::Take, this); }
  ~MessageLog() { platform::SetDebugSink(nullptr, nullptr); }
  static void Take(void* log, const char* text) {
    static_cast<MessageLog*>(log)->messages.emplace_back(text);
  }

  std::vector<std::string> messages;
};
