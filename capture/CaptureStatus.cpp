// The controller's queries: state, time, level and format.

#include <cstdio>
#include <cstring>
#include <iterator>

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureRun.h"
#include "capture/Limits.h"
#include "capture/RecordLock.h"

namespace {

using capture::kMostMinutesShown;

struct ResultCode {
  std::uint32_t result;
  std::int32_t code;
};

constexpr ResultCode kResultCodes[] = {
    {0x00000000, 0},    // S_OK
    {0x00000001, 1},    // the success of every action of the thread
    {0x80010106, -5},   // RPC_E_CHANGED_MODE
    {0x80004002, -6},   // DSERR_NOINTERFACE
    {0x80070057, -7},   // DSERR_INVALIDPARAM
    {0x88780078, -8},   // DSERR_NODRIVER
    {0x8007000E, -9},   // DSERR_OUTOFMEMORY
    {0x887800AA, -10},  // DSERR_UNINITIALIZED
    {0x80004005, -11},  // DSERR_GENERIC
    {0x88780064, -12},  // DSERR_BADFORMAT
    {0x80040110, -13},  // DSERR_NOAGGREGATION
    {0x8878000A, -14},  // DSERR_ALLOCATED
};

/// Locks the run's record for one query, and updates the controller's from it. Without a run there is nothing
/// to lock.
class RecordView {
 public:
  RecordView(const capture::CaptureRun* run, ThreadDAT& shown)
      : lock_(run != nullptr ? run->mutex : nullptr, capture::kMutexWaitMs) {
    if (run != nullptr && !TimedOut()) capture::Refresh(shown, *run);
  }
  bool TimedOut() const { return lock_.TimedOut(); }

 private:
  const capture::RecordLock lock_;
};

double Seconds(std::uint32_t bytes, std::uint32_t bytesPerSecond) {
  return static_cast<double>(bytes) / static_cast<double>(bytesPerSecond);
}

/// Writes "mm:ss.hh"; minutes run on past 59, up to what the field holds.
void FormatTime(double seconds, char (&text)[10]) {
  const auto fullSeconds = static_cast<std::uint32_t>(seconds);
  const auto hundredths = static_cast<std::uint32_t>((seconds - fullSeconds) * 100.0);
  if (fullSeconds / 60 > kMostMinutesShown) {
    std::memcpy(text, "999:59.99", sizeof text);
    return;
  }
  char line[40];
  std::snprintf(line, sizeof line, "%02u:%02u.%02u", fullSeconds / 60, fullSeconds % 60, hundredths);
  std::memcpy(text, line, sizeof text);
  text[sizeof text - 1] = '\0';
}

}  // namespace

const GUID* CMMWAVCapture::GetDirverID() {
  return threadDat.deviceGuid;
}

std::uint32_t CMMWAVCapture::GetSamples() {
  const RecordView view(run.get(), threadDat);
  return view.TimedOut() ? 0 : threadDat.recordedBytes;
}

std::int32_t CMMWAVCapture::SetSamples(std::uint32_t value) {
  const RecordView view(run.get(), threadDat);
  if (view.TimedOut()) return 0;
  threadDat.recordedBytes = value;
  if (run != nullptr) run->recordedBytes = value;
  return 1;
}

std::uint16_t CMMWAVCapture::GetFormat() {
  return threadDat.format.wFormatTag;
}

std::uint32_t CMMWAVCapture::GetTimeToByte(std::uint32_t seconds) {
  const std::uint32_t block = threadDat.format.nBlockAlign;
  if (block == 0) return 0;
  const double product = static_cast<double>(threadDat.format.nAvgBytesPerSec) * static_cast<double>(seconds);
  const auto bytes = static_cast<std::uint32_t>(static_cast<std::uint64_t>(product));
  return bytes / block * block;
}

std::uint32_t CMMWAVCapture::GetSampleToByte(std::uint32_t frames) {
  return threadDat.format.nBlockAlign * frames;
}

double CMMWAVCapture::GetPlayTime() {
  const std::uint32_t bytesPerSecond = threadDat.format.nAvgBytesPerSec;
  if (bytesPerSecond == 0) return 0.0;
  const RecordView view(run.get(), threadDat);
  return view.TimedOut() ? 0.0 : Seconds(threadDat.recordedBytes, bytesPerSecond);
}

char* CMMWAVCapture::GetFileName() {
  return threadDat.fileName;
}

char* CMMWAVCapture::GetPathName() {
  return threadDat.pathName;
}

std::uint32_t CMMWAVCapture::GetChannels() {
  return threadDat.format.nChannels;
}

std::uint32_t CMMWAVCapture::GetSampleRate() {
  return threadDat.format.nSamplesPerSec;
}

std::uint32_t CMMWAVCapture::GetSampleSizeInBits() {
  return threadDat.format.wBitsPerSample;
}

std::int32_t CMMWAVCapture::GetFileInfo(WAVEFORMATEX* out) {
  if (out != nullptr) *out = threadDat.format;
  return 1;
}

std::int32_t CMMWAVCapture::GetState(std::uint32_t* stateOut, std::int32_t* resultOut) {
  const RecordView view(run.get(), threadDat);
  if (view.TimedOut()) return WAIT_TIMEOUT;
  if (resultOut != nullptr) *resultOut = threadDat.result;
  // Before the thread's first step a run has no state.
  const bool begun = threadDat.mutex == nullptr || threadDat.threadCount != 0;
  *stateOut = begun ? threadDat.state : kStateNone;
  return 1;
}

std::int32_t CMMWAVCapture::GetStateAs(std::uint32_t* stateOut, std::int32_t* code) {
  std::int32_t value = 0;
  if (GetState(stateOut, &value) != 1) return 1;
  for (const ResultCode& entry : kResultCodes) {
    if (entry.result == static_cast<std::uint32_t>(value)) *code = entry.code;
  }
  return 1;
}

char* CMMWAVCapture::GetTimeString(std::int32_t* level) {
  const std::uint32_t bytesPerSecond = threadDat.format.nAvgBytesPerSec;
  if (bytesPerSecond == 0) return nullptr;
  const RecordView view(run.get(), threadDat);
  // Without a run there is no level; the record may still hold that of the last one.
  const bool running = threadDat.mutex != nullptr && !view.TimedOut();
  if (level != nullptr) *level = running ? threadDat.maxLevel : 0;
  if (!view.TimedOut()) FormatTime(Seconds(threadDat.recordedBytes, bytesPerSecond), timeText);
  return timeText;
}
