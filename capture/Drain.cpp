// The engine's drain: whole segments from the ring into the file, and the level of what was moved.

#include <algorithm>
#include <cstdio>

#include "capture/CMMCapture.h"
#include "capture/Messages.h"

namespace {

void SayDrain(std::uint32_t bytes, std::uint32_t offset) {
  char text[200];
  std::snprintf(text, sizeof text, capture::kDrainFormat, static_cast<int>(bytes), static_cast<int>(offset));
  OutputDebugStringA(text);
}

/// The highest of @p count samples, and of the first one whatever the count is.
template <class Sample>
std::int32_t Highest(const Sample* data, std::uint32_t count) {
  Sample level = data[0];
  for (std::uint32_t i = 1; i < count; ++i) level = std::max(level, data[i]);
  return level;
}

}  // namespace

std::int32_t CMMCapture::Write() {
  std::uint32_t total = 0;
  RecordData(&total);
  return static_cast<std::int32_t>(total);
}

std::int32_t CMMCapture::RecordData(std::uint32_t* total) {
  if (captureBuffer == nullptr || segmentSize == 0) return 1;

  DWORD capturePosition = 0;
  DWORD readPosition = 0;
  HRESULT result = DS_OK;
  // A notification that came since the wait is for data that this drain takes too. Left set, it would wake
  // the thread for nothing, and a drain of nothing ends the recording: it is withdrawn by a position behind
  // it.
  do {
    result = captureBuffer->GetCurrentPosition(&capturePosition, &readPosition);
    if (result < 0) return result;
  } while (waitHandles[0] != nullptr && WaitForSingleObject(waitHandles[0], 0) == WAIT_OBJECT_0);

  const std::uint32_t ringSize = segmentCount * segmentSize;
  std::uint32_t available = readPosition - readOffset;
  if (static_cast<std::int32_t>(available) < 0) available += ringSize;
  const std::uint32_t bytes = available - available % segmentSize;
  if (bytes == 0) return 1;

  SayDrain(bytes, readOffset);
  void* part1 = nullptr;
  void* part2 = nullptr;
  DWORD length1 = 0;
  DWORD length2 = 0;
  result = captureBuffer->Lock(readOffset, bytes, &part1, &length1, &part2, &length2, 0);
  if (result < 0) return result;

  std::uint32_t written = 0;
  wav.Write(length1, part1, &written);
  if (bitsPerSample == 16) {
    GetMax16(static_cast<const std::int16_t*>(part1), written);
  } else {
    GetMax8(static_cast<const std::uint8_t*>(part1), written);
  }
  *total += written;
  captureBuffer->Unlock(part1, length1, nullptr, 0);
  // By what was locked, whatever the file took: the ring goes on.
  readOffset = (readOffset + length1) % ringSize;
  if (part2 == nullptr) return 0;

  written = 0;  // a refused write leaves the count alone
  wav.Write(length2, part2, &written);
  *total += written;
  captureBuffer->Unlock(part2, length2, nullptr, 0);
  readOffset = (readOffset + length2) % ringSize;
  return 0;
}

void CMMCapture::GetMax16(const std::int16_t* data, std::uint32_t bytes) {
  if (data != nullptr) maxLevel = Highest(data, bytes >> 1);
}

void CMMCapture::GetMax8(const std::uint8_t* data, std::uint32_t bytes) {
  if (data != nullptr) maxLevel = Highest(data, bytes);
}

std::int32_t CMMCapture::GetMaxLevel() {
  return maxLevel;
}
