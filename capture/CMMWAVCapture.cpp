// The controller: starting and ending the capture thread, and the commands to it.

#include "capture/CMMWAVCapture.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>

#include "capture/CaptureRun.h"
#include "capture/CaptureThread.h"
#include "capture/Limits.h"
#include "capture/Messages.h"
#include "capture/RecordLock.h"
#include "capture/RunJournal.h"
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

/// A command that has been sent.
struct Sent {
  HANDLE reply;
  std::atomic<std::uint32_t>& answered;
  std::uint32_t before;
};

/// Under the record's mutex, so that the events are there and the thread is not at an earlier command. The
/// reply is cleared first: that of a command which ran out its time would pass for the answer to this one.
Sent SendCommand(CaptureRun& run, std::uint32_t command) {
  const Sent sent{run.record.replyEvents[command], run.answered[command], run.answered[command].load()};
  ResetEvent(sent.reply);
  SetEvent(run.record.commandEvents[command]);
  return sent;
}

/// Not under the mutex: the thread needs it to carry the command out. A command that has failed gets no
/// reply; once that is known there is nothing to wait for.
std::int32_t AwaitReply(const CaptureRun& run, const Sent& sent) {
  const capture::Deadline deadline(capture::kReplyWait);
  bool over = false;
  while (WaitForSingleObject(sent.reply, over ? 0 : capture::kLook) != WAIT_OBJECT_0) {
    if (over) return kTimedOut;
    over = deadline.Over() || run.Gone() || sent.answered.load(std::memory_order_acquire) != sent.before;
  }
  ResetEvent(sent.reply);
  return kDone;
}

/// Waits for the owner event to tell that the thread has come up, or has failed to.
bool AwaitStart(const CaptureRun& run, HANDLE ownerEvent) {
  const capture::Deadline deadline(capture::kStartWait);
  bool over = false;
  while (WaitForSingleObject(ownerEvent, over ? 0 : capture::kLook) != WAIT_OBJECT_0) {
    if (over) return false;
    over = deadline.Over() || run.phase.load(std::memory_order_acquire) != CaptureRun::Phase::kAlive;
  }
  return true;
}

/// The owner event wakes; whether the thread has ended is seen in the run, since a late start-up signals too.
bool AwaitEnd(const CaptureRun& run, HANDLE ownerEvent, const capture::Deadline& deadline) {
  while (!run.Gone()) {
    if (deadline.Over()) return false;
    if (WaitForSingleObject(ownerEvent, capture::kLook) == WAIT_OBJECT_0) ResetEvent(ownerEvent);
  }
  return true;
}

/// Ends the run, or leaves it to a thread that does not answer: that keeps what it touches, and clears up
/// itself.
void GiveUpRun(CMMWAVCapture& controller, ThreadDAT& dat, HANDLE& thread) {
  const capture::Deadline deadline(capture::kAbandonWait);
  while (thread != nullptr) {
    controller.Exit();
    CaptureRun* const run = capture::FindRun(&dat);
    if (run == nullptr || !deadline.Over() || !capture::LeaveBehind(*run)) continue;
    thread = dat.ownerEvent = dat.mutex = nullptr;
  }
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
  GiveUpRun(*this, threadDat, threadHandle);
  DropNames(threadDat);
  // The thread of the other may be writing its record.
  const RecordLock lock(other.threadDat.mutex, capture::kRecordWait);
  std::memcpy(timeText, other.timeText, sizeof timeText);
  threadDat = other.threadDat;
  threadHandle = other.threadHandle;
  const CaptureRun* const run = capture::FindRun(&other.threadDat);
  if (run != nullptr && !lock.TimedOut()) capture::Follow(threadDat, run->record);
  capture::KeepText(threadDat.fileName);
  capture::KeepText(threadDat.pathName);
  return *this;
}

CMMWAVCapture::~CMMWAVCapture() {
  GiveUpRun(*this, threadDat, threadHandle);
  DropNames(threadDat);
}

HANDLE CMMWAVCapture::Create(const WAVEFORMATEX& format, const GUID* guid) {
  if (!Complete(format) || threadHandle != nullptr) return nullptr;
  CaptureRun* const run = capture::BeginRun(&threadDat);
  if (run == nullptr) return nullptr;
  ClsThreadDat();
  threadDat.commandCount = kCommandCount;
  threadDat.segmentCount = 4;
  threadDat.deviceGuid = guid;
  threadDat.format = format;
  threadDat.mutex = CreateMutexA(nullptr, FALSE, nullptr);
  threadDat.ownerEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  run->record = threadDat;
  capture::RunJournal::Get().BeginRun(format);
  if (threadDat.mutex != nullptr && threadDat.ownerEvent != nullptr) {
    unsigned id = 0;
    threadHandle = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, CaptureThread, &run->record, 0, &id));
  }

  const bool started = threadHandle != nullptr && AwaitStart(*run, threadDat.ownerEvent);
  Say(started ? capture::kThreadStarted : capture::kThreadFailed);
  ResetEvent(threadDat.ownerEvent);
  if (threadHandle == nullptr) {
    capture::RunJournal::Get().EndRun(cmm::CaptureEnd::kStartFailed, E_OUTOFMEMORY);
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
  // What an earlier Exit asked for may have been answered since; who has ended by itself gives no answer.
  const capture::Deadline deadline(capture::kExitWait);
  const bool answers = run->exitRequested.load(std::memory_order_acquire) ||
                       run->phase.load(std::memory_order_acquire) == CaptureRun::Phase::kAlive;
  if (answers) {
    ResetEvent(threadDat.ownerEvent);
    capture::RequestExit(*run, capture::kRecordWait);
  }
  const bool ended = AwaitEnd(*run, threadDat.ownerEvent, deadline);
  const bool acknowledged = answers && ended;
  Say(acknowledged ? capture::kExitAcknowledged : capture::kExitUnacknowledged);
  if (!ended) return kTimedOut;  // it lives: nothing may go

  capture::Follow(threadDat, run->record);
  CloseAndClear(threadDat.ownerEvent);
  CloseAndClear(threadDat.mutex);
  threadHandle = nullptr;
  capture::EndRun(&threadDat);
  return acknowledged ? kDone : kTimedOut;
}

std::int32_t CMMWAVCapture::WaitMutex(std::uint32_t wantedState, std::uint32_t commandIndex) {
  CaptureRun* const run = threadHandle != nullptr ? capture::FindRun(&threadDat) : nullptr;
  if (run == nullptr) return kNoThread;
  std::optional<Sent> sent;
  {
    const RecordLock lock(threadDat.mutex, capture::kRecordWait);
    if (lock.TimedOut()) return kTimedOut;
    if (run->record.state != wantedState) return kRefused;
    sent.emplace(SendCommand(*run, commandIndex));
  }
  return AwaitReply(*run, *sent);
}

std::int32_t CMMWAVCapture::StartREC() {
  return WaitMutex(kStateFileOpen, kCommandStart);
}

std::int32_t CMMWAVCapture::StopREC() {
  return WaitMutex(kStateCapturing, kCommandStop);
}

std::int32_t CMMWAVCapture::fileOpen(const char* name, const char* path) {
  CaptureRun* const run = threadHandle != nullptr ? capture::FindRun(&threadDat) : nullptr;
  if (run == nullptr || name == nullptr) return kNoThread;
  if (*name == '\0') return kRefused;
  std::optional<Sent> sent;
  {
    const RecordLock lock(threadDat.mutex, capture::kRecordWait);
    if (lock.TimedOut()) return kTimedOut;
    if (run->record.state != kStateReady) return kRefused;
    DropNames(threadDat);  // of an open that failed
    threadDat.fileName = capture::NewText(name);
    threadDat.pathName = capture::NewText(path != nullptr ? path : "");
    if (threadDat.fileName == nullptr || threadDat.pathName == nullptr) {
      DropNames(threadDat);
      return kRefused;
    }
    // The thread has its own part in them, which it keeps until the next file.
    DropNames(run->record);
    capture::KeepText(run->record.fileName = threadDat.fileName);
    capture::KeepText(run->record.pathName = threadDat.pathName);
    sent.emplace(SendCommand(*run, kCommandFileOpen));
  }
  return AwaitReply(*run, *sent);
}

std::int32_t CMMWAVCapture::fileClose() {
  const std::int32_t result = WaitMutex(kStateFileOpen, kCommandFileClose);
  DropNames(threadDat);
  return result;
}

std::int32_t CMMWAVCapture::ClsThreadDat() {
  if (threadHandle != nullptr) return 0;
  DropNames(threadDat);
  threadDat = ThreadDAT{};
  return 1;
}
