#pragma once
// What the tests of capture share: bounded waiting, the debug messages.

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "capture/CMMWAVCapture.h"
#include "platform/posix/layer.h"
#include "tests/capture/FakeDevice.h"
#include "tests/support/Formats.h"
#include "tests/support/files.h"

constexpr std::uint32_t kHeaderBytes = 56;

inline WAVEFORMATEX Pcm(DWORD rate, WORD channels, WORD bits) {
  return Format(rate, channels, bits);
}

/// Waits until @p condition holds, far longer than it should need. @return whether it came to hold
inline bool Eventually(const std::function<bool()>& condition, int milliseconds = 10000) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// What GetState and GetStateAs tell; 99 and 77 where they tell nothing.
struct Status {
  std::uint32_t state = 99;
  std::int32_t code = 77;
};
inline Status StatusOf(CMMWAVCapture& capture) {
  Status status;
  capture.GetState(&status.state, &status.code);
  return status;
}
inline Status StatusAsOf(CMMWAVCapture& capture) {
  Status status;
  capture.GetStateAs(&status.state, &status.code);
  return status;
}
inline std::uint32_t StateOf(CMMWAVCapture& capture) {
  return StatusOf(capture).state;
}

/// Collects the debug messages while it lives.
class MessageLog {
 public:
  MessageLog() { platform::SetDebugSink(&MessageLog::Take, this); }
  ~MessageLog() { platform::SetDebugSink(nullptr, nullptr); }
  MessageLog(const MessageLog&) = delete;
  MessageLog& operator=(const MessageLog&) = delete;

  /// The messages so far, which are then forgotten.
  std::vector<std::string> Fetch() {
    const std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
  }

 private:
  static void Take(void* context, const char* text) {
    auto& log = *static_cast<MessageLog*>(context);
    const std::lock_guard lock(log.mutex_);
    log.messages_.emplace_back(text);
  }

  std::mutex mutex_;
  std::vector<std::string> messages_;
};
