// A drain: moves the whole segments that are ready from the ring into the file, and takes the level from
// their first part. Its published names are Write, which gives the bytes, and RecordData, which gives the
// platform's result.

#include <algorithm>
#include <cstdio>

#include "capture/CMMCapture.h"
#include "capture/Messages.h"
#include "capture/RunJournal.h"

namespace {

using capture::RunJournal;

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

/// Reads the device's read position, and clears the notification that has come since the wait: this drain
/// takes its segments too, and with nothing left for it the next drain would end the run.
/// @param notifications receives how many notifications this drain serves
HRESULT ReadPosition(IDirectSoundCaptureBuffer& ring, HANDLE notification, DWORD* readPosition,
                     std::uint32_t* notifications) {
  HRESULT result = DS_OK;
  do {
    ++*notifications;
    DWORD capturePosition = 0;
    result = ring.GetCurrentPosition(&capturePosition, readPosition);
  } while (result >= 0 && WaitForSingleObject(notification, 0) == WAIT_OBJECT_0);
  return result;
}

/// Writes a part of the ring, or discards it.
/// @return bytes that the file took, or that were discarded
std::uint32_t Save(RunJournal& journal, CMMWav& wav, const void* data, DWORD bytes) {
  if (journal.Discards()) return bytes;
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
  RunJournal& journal = RunJournal::Get();
  journal.BeginDrain();
  if (captureBuffer == nullptr || !owners.IsOpen() || segmentSize == 0) return 1;

  DWORD readPosition = 0;
  std::uint32_t notifications = 0;
  HRESULT result = ReadPosition(*captureBuffer, waitHandles[0], &readPosition, &notifications);
  if (result < 0) {
    journal.DeviceFailed(result);
    return result;
  }

  const std::uint32_t ringSize = segmentCount * segmentSize;
  journal.NoteLosses(captureBuffer, readPosition, ringSize);
  std::uint32_t available = readPosition - readOffset;
  if (static_cast<std::int32_t>(available) < 0) available += ringSize;
  const std::uint32_t bytes = available - available % segmentSize;
  journal.Found(bytes / segmentSize, notifications, segmentCount);
  if (bytes == 0) return 1;

  if (!journal.Discards()) SayDrain(bytes, readOffset);
  void* parts[2] = {};
  DWORD lengths[2] = {};
  result = captureBuffer->Lock(readOffset, bytes, &parts[0], &lengths[0], &parts[1], &lengths[1], 0);
  if (result < 0) {
    journal.DeviceFailed(result);
    return result;
  }
  for (int i = 0; i < 2 && parts[i] != nullptr; ++i) {
    const std::uint32_t written = Save(journal, wav, parts[i], lengths[i]);
    *total += written;
    if (i == 0) {
      bitsPerSample == 16 ? GetMax16(static_cast<const std::int16_t*>(parts[i]), written)
                          : GetMax8(static_cast<const std::uint8_t*>(parts[i]), written);
    }
    captureBuffer->Unlock(parts[i], lengths[i], nullptr, 0);
    // By what was locked, even if the file took less: the device goes on.
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
