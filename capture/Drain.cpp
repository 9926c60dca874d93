// The engine's drain: whole segments from the ring into the file, and the level of what was moved.

#include <algorithm>
#include <cstdio>

#include "capture/CMMCapture.h"
#include "capture/Messages.h"
#include "capture/RunJournal.h"

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

/// Writes a part of the ring, or gives it up.
/// @return bytes that the file took, or that were given up
std::uint32_t Save(capture::RunJournal& journal, CMMWav& wav, const void* data, DWORD bytes) {
  if (journal.GivesUp()) return bytes;
  std::uint32_t written = 0;  // a refused write leaves the count alone
  SetLastError(0);
  wav.Write(bytes, data, &written);
  journal.Moved(bytes, written, written < bytes ? GetLastError() : 0);
  return written;
}

}  // namespace

std::int32_t CMMCapture::Write() {
  std::uint32_t total = 0;
  RecordData(&total);
  return static_cast<std::int32_t>(total);
}

std::int32_t CMMCapture::RecordData(std::uint32_t* total) {
  capture::RunJournal& journal = capture::RunJournal::Get();
  journal.BeginDrain();
  if (captureBuffer == nullptr || segmentSize == 0) return 1;

  DWORD capturePosition = 0;
  DWORD readPosition = 0;
  std::uint32_t notifications = 0;
  // A notification that came since the wait is for data that this drain takes too: it is withdrawn by a
  // position behind it.
  do {
    ++notifications;
    const HRESULT result = captureBuffer->GetCurrentPosition(&capturePosition, &readPosition);
    if (result < 0) {
      journal.DeviceFailed(result);
      return result;
    }
  } while (waitHandles[0] != nullptr && WaitForSingleObject(waitHandles[0], 0) == WAIT_OBJECT_0);

  const std::uint32_t ringSize = segmentCount * segmentSize;
  journal.NoteLosses(captureBuffer, readPosition, ringSize);
  std::uint32_t available = readPosition - readOffset;
  if (static_cast<std::int32_t>(available) < 0) available += ringSize;
  const std::uint32_t bytes = available - available % segmentSize;
  journal.Found(bytes / segmentSize, notifications, segmentCount);
  if (bytes == 0) return 1;

  if (!journal.GivesUp()) SayDrain(bytes, readOffset);
  void* parts[2] = {};
  DWORD lengths[2] = {};
  const HRESULT result =
      captureBuffer->Lock(readOffset, bytes, &parts[0], &lengths[0], &parts[1], &lengths[1], 0);
  if (result < 0) {
    journal.DeviceFailed(result);
    return result;
  }
  for (int i = 0; i < 2 && (i == 0 || parts[i] != nullptr); ++i) {
    const std::uint32_t written = Save(journal, wav, parts[i], lengths[i]);
    *total += written;
    if (i == 0 && bitsPerSample == 16) GetMax16(static_cast<const std::int16_t*>(parts[i]), written);
    if (i == 0 && bitsPerSample != 16) GetMax8(static_cast<const std::uint8_t*>(parts[i]), written);
    captureBuffer->Unlock(parts[i], lengths[i], nullptr, 0);
    // By what was locked, whatever the file took: the ring goes on.
    readOffset = (readOffset + lengths[i]) % ringSize;
  }
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
