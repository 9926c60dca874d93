#pragma once
// What the tests of capture share: a folder of their own, formats, bounded waiting, the debug messages.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture/CMMWAVCapture.h"
#include "platform/posix/layer.h"
#include "tests/support/TempFolder.h"

constexpr std::size_t kHeaderBytes = 56;

inline WAVEFORMATEX Pcm(DWORD rate, WORD channels, WORD bits) {
  WAVEFORMATEX format{};
  format.wFormatTag = WAVE_FORMAT_PCM;
  format.nChannels = channels;
  format.nSamplesPerSec = rate;
  format.wBitsPerSample = bits;
  format.nBlockAlign = static_cast<WORD>(channels * bits / 8);
  format.nAvgBytesPerSec = format.nBlockAlign * rate;
  return format;
}

inline std::vector<std::uint8_t> FileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
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

inline std::uint32_t StateOf(CMMWAVCapture& capture) {
  std::uint32_t state = 99;
  capture.GetState(&state, nullptr);
  return state;
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
