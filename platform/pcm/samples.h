#pragma once
// How samples are loaded from and stored to buffers of any alignment.

#include <cstdint>
#include <cstring>

#include "platform/platform.h"

namespace platform::detail {

template <class T>
T Load(const BYTE* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <class T>
void Store(BYTE* bytes, T value) {
  std::memcpy(bytes, &value, sizeof value);
}

/// PCM samples: 8 bits are unsigned with silence at 128, 16 bits signed.
/// To 16 bits, the byte becomes the high byte; to 8 bits, only the high byte is kept.
template <class To, class From>
constexpr int Resize(int sample) {
  if constexpr (sizeof(To) > sizeof(From)) return (sample - 128) * 256;
  if constexpr (sizeof(To) < sizeof(From)) return (sample >> 8) + 128;
  return sample;
}

}  // namespace platform::detail
