// The controller: starting and ending the capture thread, and the commands to it.

#include "capture/CMMWAVCapture.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

#include "capture/CaptureRun.h"
#include "capture/CaptureThread.h"
#include "capture/Limits.h"
#include "capture/Messages.h"
#include "capture/RecordLock.h"
#include "capture/RunJournal.h"

namespace {

using capture::CaptureRun;
using capture::Deadline;
using capture::RecordLock;
using capture::RunJournal;

constexpr std::int32_t kDone = 1;
constexpr std::int32_t kRefused = 0;
constexpr std::int32_t kTimedOut = -2;
constexpr std::int32_t kNoThread = -3;

bool IsComplete(const WAVEFORMATEX& format) {
  return format.nAvgBytesPerSec != 0 && format.nBlockAlign != 0 && format.nChannels != 0 &&
         format.nSamplesPerSec != 0 && format.wBitsPerSample != 0 && format.wFormatTag != 0;
}

void ClearNames(ThreadDAT& dat, std::shared_ptr<char[]>& names) {
  dat.fileName = dat.pathName = nullptr;
  names.reset();
}

/// Stores copies of both texts in the record, in one block.
/// @return false when memory is short; the record has no names then
bool SetNames(ThreadDAT& dat, std::shared_ptr<char[]>& names, std::string_view file,
              std::string_view path) try {
  ClearNames(dat, names);
  names = std::make_shared<char[]>(file.size() + 1 + path.size() + 1);
  dat.fileName = names.get();
  dat.pathName = dat.fileName + file.size() + 1;
  std::copy(file.begin(), file.end(), dat.fileName);
  std::copy(path.begin(), path.end(), dat.pathName);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

/// Gives up this object's share of the run. A thread that still lives keeps its own.
void ReleaseRun(HANDLE& thread, ThreadDAT& dat, std::shared_ptr<CaptureRun>& run) {
  thread = dat.ownerEvent = dat.mutex = nullptr;
  run.reset();
}

/// Ends the run. A thread that does not answer in time keeps it.
void EndRun(CMMWAVCapture& controller, HANDLE& thread, ThreadDAT& dat, std::shared_ptr<CaptureRun>& run) {
  const Deadline deadline(capture::kAbandonWaitMs);
  while (thread != nullptr) {
    controller.Exit();
    if (deadline.Over()) ReleaseRun(thread, dat, run);
  }
}

/// Waits for the owner event to say that the thread has come up, or has failed to.
bool AwaitStart(const CaptureRun& run) {
  const Deadline deadline(capture::kStartWaitMs);
  bool over = false;
  while (WaitForSingleObject(run.ownerEvent, over ? 0 : capture::kPollMs) != WAIT_OBJECT_0) {
    if (over) return false;
    over = deadline.Over() || run.HasEnded();
  }
  return true;
}

/// The owner event only ends the wait: a late start-up signals it too, so the run tells whether it has ended.
bool AwaitEnd(const CaptureRun& run, const Deadline& deadline) {
  while (!run.HasEnded()) {
    if (deadline.Over()) return false;
    if (WaitForSingleObject(run.ownerEvent, capture::kPollMs) != WAIT_OBJECT_0) continue;
    ResetEvent(run.ownerEvent);
    const RecordLock lock(run.mutex, capture::kPollMs);  // under which the thread signals, and then ends
  }
  return true;
}

/// Not under the mutex: the thread needs it to carry out the command. A command that has failed gets no
/// reply; the count of answered commands then ends the wait.
/// @param before that count when the command was sent
std::int32_t AwaitReply(const CaptureRun& run, std::uint32_t command, std::uint32_t before) {
  const Deadline deadline(capture::kReplyWaitMs);
  const HANDLE reply = run.replyEvents[command];
  bool over = false;
  while (WaitForSingleObject(reply, over ? 0 : capture::kPollMs) != WAIT_OBJECT_0) {
    if (over) return kTimedOut;
    over =
        deadline.Over() || run.HasEnded() || run.answered[command].load(std::memory_order_acquire) != before;
  }
  ResetEvent(reply);
  return kDone;
}

/// Sends a command and waits for its reply.
/// @param prepare called under the mutex in the wanted state; the command is refused when it gives false
template <class Prepare>
std::int32_t SendCommand(CaptureRun& run, std::uint32_t wantedState, std::uint32_t command, Prepare prepare) {
  std::uint32_t before = 0;
  {
    // Check and signal under one lock: the events exist, and the thread is at no other command.
    const RecordLock lock(run.mutex, capture::kMutexWaitMs);
    if (lock.TimedOut()) return kTimedOut;
    if (run.state != wantedState || !prepare()) return kRefused;
    before = run.answered[command].load();
    // A late reply to an earlier command must not count as the answer to this one.
    ResetEvent(run.replyEvents[command]);
    SetEvent(run.commandEvents[command]);
  }
  return AwaitReply(run, command, before);
}

}  // namespace

CMMWAVCapture::CMMWAVCapture() = default;

CMMWAVCapture::CMMWAVCapture(const CMMWAVCapture& other) {
  *this = other;
}

CMMWAVCapture& CMMWAVCapture::operator=(const CMMWAVCapture& other) {
  if (this == &other) return *this;
  EndRun(*this, threadHandle, threadDat, run);
  // The other object's thread may be writing its record.
  const RecordLock lock(other.run != nullptr ? other.run->mutex : nullptr, capture::kMutexWaitMs);
  std::memcpy(timeText, other.timeText, sizeof timeText);
  threadDat = other.threadDat;
  threadHandle = other.threadHandle;
  names = other.names;
  if (other.run != nullptr && !lock.TimedOut()) capture::Refresh(threadDat, *other.run);
  return *this;
}

CMMWAVCapture::~CMMWAVCapture() {
  EndRun(*this, threadHandle, threadDat, run);
}

HANDLE CMMWAVCapture::Create(const WAVEFORMATEX& format, const GUID* guid) {
  if (!IsComplete(format) || threadHandle != nullptr) return nullptr;
  run = CaptureRun::Begin(format, guid);
  if (run == nullptr) return nullptr;
  ClsThreadDat();
  threadDat = *run;
  RunJournal::Get().BeginRun(format);
  if (run->mutex != nullptr && run->ownerEvent != nullptr) {
    ThreadDAT* const dat = run.get();
    unsigned id = 0;
    threadHandle = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, CaptureThread, dat, 0, &id));
  }

  const bool started = threadHandle != nullptr && AwaitStart(*run);
  Say(started ? capture::kThreadStarted : capture::kThreadFailed);
  ResetEvent(run->ownerEvent);
  if (threadHandle == nullptr) {
    RunJournal::Get().EndRun(cmm::CaptureEnd::kStartFailed, E_OUTOFMEMORY);
    run->End();
    ReleaseRun(threadHandle, threadDat, run);
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
  if (run == nullptr) {
    // A copy: thread and handles are its source's.
    ReleaseRun(threadHandle, threadDat, run);
    return kNoThread;
  }
  // An earlier Exit may have asked already. A thread that has ended by itself does not answer.
  const Deadline deadline(capture::kExitWaitMs);
  const bool answers = run->exitRequested.load(std::memory_order_acquire) || !run->HasEnded();
  if (answers) {
    ResetEvent(run->ownerEvent);
    run->RequestExit(capture::kMutexWaitMs);
  }
  const bool ended = AwaitEnd(*run, deadline);
  const bool acknowledged = answers && ended;
  Say(acknowledged ? capture::kExitAcknowledged : capture::kExitUnacknowledged);
  if (!ended) return kTimedOut;  // the thread lives and uses it all

  capture::Refresh(threadDat, *run);
  ReleaseRun(threadHandle, threadDat, run);
  return acknowledged ? kDone : kTimedOut;
}

std::int32_t CMMWAVCapture::WaitMutex(std::uint32_t wantedState, std::uint32_t commandIndex) {
  if (run == nullptr) return kNoThread;
  return SendCommand(*run, wantedState, commandIndex, [] { return true; });
}

std::int32_t CMMWAVCapture::StartREC() {
  return WaitMutex(kStateFileOpen, kCommandStart);
}

std::int32_t CMMWAVCapture::StopREC() {
  return WaitMutex(kStateCapturing, kCommandStop);
}

std::int32_t CMMWAVCapture::fileOpen(const char* name, const char* path) {
  if (run == nullptr || name == nullptr) return kNoThread;
  if (*name == '\0') return kRefused;
  return SendCommand(*run, kStateReady, kCommandFileOpen, [&] {
    if (!SetNames(threadDat, names, name, path != nullptr ? path : "")) return false;
    // The thread owns them too, until the next file.
    run->names = names;
    run->fileName = threadDat.fileName;
    run->pathName = threadDat.pathName;
    return true;
  });
}

std::int32_t CMMWAVCapture::fileClose() {
  const std::int32_t result = WaitMutex(kStateFileOpen, kCommandFileClose);
  ClearNames(threadDat, names);
  return result;
}

std::int32_t CMMWAVCapture::ClsThreadDat() {
  if (threadHandle != nullptr) return 0;
  ClearNames(threadDat, names);
  threadDat = ThreadDAT{};
  return 1;
}
