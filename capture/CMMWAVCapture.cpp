// The controller: starting and ending the capture thread, and the commands to it.

#include "capture/CMMWAVCapture.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "capture/CaptureRun.h"
#include "capture/CaptureThread.h"
#include "capture/Messages.h"
#include "capture/RecordLock.h"
#include "capture/SharedText.h"

namespace {

using capture::CaptureRun;
using capture::RecordLock;

constexpr std::int32_t kDone = 1;
constexpr std::int32_t kRefused = 0;
constexpr std::int32_t kTimedOut = -2;
constexpr std::int32_t kNoThread = -3;

void Say(const capture::Message& message) {
  OutputDebugStringA(message.bytes);
}

/// Counts a limit in milliseconds down.
class Deadline {
 public:
  explicit Deadline(DWORD milliseconds) : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}
  DWORD Left() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return static_cast<DWORD>(std::max<decltype(left)>(left, 0));
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point end_;
};

void CloseAndClear(HANDLE& handle) {
  if (handle != nullptr) CloseHandle(handle);
  handle = nullptr;
}

bool Complete(const WAVEFORMATEX& format) {
  return format.nAvgBytesPerSec != 0 && format.nBlockAlign != 0 && format.nChannels != 0 &&
         format.nSamplesPerSec != 0 && format.wBitsPerSample != 0 && format.wFormatTag != 0;
}

void DropNames(ThreadDAT& dat) {
  capture::DropText(dat.fileName);
  capture::DropText(dat.pathName);
}

/// Under the record's mutex, so that the events are there and the thread is not at an earlier command. The
/// reply is cleared first: that of a command which ran out its time would pass for the answer to this one.
void SendCommand(const ThreadDAT& dat, std::uint32_t command) {
  ResetEvent(dat.replyEvents[command]);
  SetEvent(dat.commandEvents[command]);
}

/// Not under the mutex: the thread needs it to carry the command out.
std::int32_t AwaitReply(HANDLE reply) {
  if (WaitForSingleObject(reply, capture::kReplyWait) != WAIT_OBJECT_0) return kTimedOut;
  ResetEvent(reply);
  return kDone;
}

/// Waits for the owner event to tell of the thread's end. The event also tells of a late start-up: what the
/// signal means is seen in the run, and it is reset before the look, so that the signal of the end, which the
/// thread gives after it has marked the run, cannot be lost in between.
bool AwaitEnd(const CaptureRun& run, HANDLE ownerEvent, bool askedBefore) {
  const Deadline deadline(capture::kExitWait);
  while (!(askedBefore && run.Gone())) {
    if (WaitForSingleObject(ownerEvent, deadline.Left()) != WAIT_OBJECT_0) return false;
    ResetEvent(ownerEvent);
    if (run.phase.load(std::memory_order_acquire) == CaptureRun::Phase::kAlive) continue;
    // A few instructions from the last one: whoever returns from here may take everything away.
    while (!run.Gone()) Sleep(1);
    return true;
  }
  return true;
}

}  // namespace

CMMWAVCapture::CMMWAVCapture() : timeText(), threadDat(), threadHandle(nullptr) {
  ClsThreadDat();
}

CMMWAVCapture::CMMWAVCapture(const CMMWAVCapture& other) : timeText(), threadDat(), threadHandle(nullptr) {
  *this = other;
}

CMMWAVCapture& CMMWAVCapture::operator=(const CMMWAVCapture& other) {
  if (this == &other) return *this;
  while (threadHandle != nullptr) Exit();
  DropNames(threadDat);
  // The thread of the other may be writing its record.
  const RecordLock lock(other.threadDat.mutex, capture::kRecordWait);
  std::memcpy(timeText, other.timeText, sizeof timeText);
  threadDat = other.threadDat;
  threadHandle = other.threadHandle;
  capture::KeepText(threadDat.fileName);
  capture::KeepText(threadDat.pathName);
  return *this;
}

CMMWAVCapture::~CMMWAVCapture() {
  // An Exit that ran out has left all as it was: the thread still works on this record.
  while (threadHandle != nullptr) Exit();
  DropNames(threadDat);
}

HANDLE CMMWAVCapture::Create(const WAVEFORMATEX& format, const GUID* guid) {
  if (!Complete(format) || threadHandle != nullptr) return nullptr;
  if (capture::BeginRun(&threadDat) == nullptr) return nullptr;
  ClsThreadDat();
  threadDat.commandCount = kCommandCount;
  threadDat.segmentCount = 4;
  threadDat.deviceGuid = guid;
  threadDat.format = format;
  threadDat.mutex = CreateMutexA(nullptr, FALSE, nullptr);
  threadDat.ownerEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (threadDat.mutex != nullptr && threadDat.ownerEvent != nullptr) {
    unsigned id = 0;
    threadHandle = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, CaptureThread, &threadDat, 0, &id));
  }

  const DWORD started = WaitForSingleObject(threadDat.ownerEvent, capture::kStartWait);
  Say(started == WAIT_OBJECT_0 ? capture::kThreadStarted : capture::kThreadFailed);
  ResetEvent(threadDat.ownerEvent);
  if (threadHandle == nullptr) {
    CloseAndClear(threadDat.ownerEvent);
    CloseAndClear(threadDat.mutex);
    capture::EndRun(&threadDat);
  }
  return threadHandle;
}

HANDLE CMMWAVCapture::Create(const WAVEFORMATEX& format, const char* name, const char* path,
                             const GUID* guid) {
  if (Create(format, guid) != nullptr) fileOpen(name, path);
  return threadHandle;
}

std::int32_t CMMWAVCapture::Exit() {
  if (threadHandle == nullptr) return kNoThread;
  CaptureRun* run = capture::FindRun(&threadDat);
  if (run == nullptr) {
    // A copy: thread and handles are its source's.
    threadHandle = threadDat.ownerEvent = threadDat.mutex = nullptr;
    return kNoThread;
  }
  // What an earlier Exit asked for may have been answered since; any other signal of before does not count.
  const bool askedBefore = run->exitRequested.load(std::memory_order_acquire);
  if (!askedBefore) ResetEvent(threadDat.ownerEvent);
  capture::RequestExit(*run);

  const bool acknowledged = AwaitEnd(*run, threadDat.ownerEvent, askedBefore);
  Say(acknowledged ? capture::kExitAcknowledged : capture::kExitUnacknowledged);
  if (!acknowledged && !run->Gone()) return kTimedOut;  // it lives: nothing may go

  CloseAndClear(threadDat.ownerEvent);
  CloseAndClear(threadDat.mutex);
  threadHandle = nullptr;
  capture::EndRun(&threadDat);
  return acknowledged ? kDone : kTimedOut;
}

std::int32_t CMMWAVCapture::WaitMutex(std::uint32_t wantedState, std::uint32_t commandIndex) {
  if (threadHandle == nullptr || capture::FindRun(&threadDat) == nullptr) return kNoThread;
  HANDLE reply = nullptr;
  {
    const RecordLock lock(threadDat.mutex, capture::kRecordWait);
    if (lock.TimedOut()) return kTimedOut;
    if (threadDat.state != wantedState) return kRefused;
    SendCommand(threadDat, commandIndex);
    reply = threadDat.replyEvents[commandIndex];
  }
  return AwaitReply(reply);
}

std::int32_t CMMWAVCapture::StartREC() {
  return WaitMutex(kStateFileOpen, kCommandStart);
}

std::int32_t CMMWAVCapture::StopREC() {
  return WaitMutex(kStateCapturing, kCommandStop);
}

std::int32_t CMMWAVCapture::fileOpen(const char* name, const char* path) {
  if (threadHandle == nullptr || name == nullptr || capture::FindRun(&threadDat) == nullptr) return kNoThread;
  if (*name == '\0') return kRefused;
  HANDLE reply = nullptr;
  {
    const RecordLock lock(threadDat.mutex, capture::kRecordWait);
    if (lock.TimedOut()) return kTimedOut;
    if (threadDat.state != kStateReady) return kRefused;
    DropNames(threadDat);  // of an open that failed
    threadDat.fileName = capture::NewText(name);
    threadDat.pathName = capture::NewText(path != nullptr ? path : "");
    if (threadDat.fileName == nullptr || threadDat.pathName == nullptr) {
      DropNames(threadDat);
      return kRefused;
    }
    SendCommand(threadDat, kCommandFileOpen);
    reply = threadDat.replyEvents[kCommandFileOpen];
  }
  return AwaitReply(reply);
}

std::int32_t CMMWAVCapture::fileClose() {
  const std::int32_t result = WaitMutex(kStateFileOpen, kCommandFileClose);
  // A thread that holds the record this long may be reading the names: they stay until the next chance.
  const RecordLock lock(threadDat.mutex, capture::kRecordWait);
  if (!lock.TimedOut()) DropNames(threadDat);
  return result;
}

std::int32_t CMMWAVCapture::ClsThreadDat() {
  if (threadHandle != nullptr) return 0;
  DropNames(threadDat);
  threadDat = ThreadDAT{};
  return 1;
}
