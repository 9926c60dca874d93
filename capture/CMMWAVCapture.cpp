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

void DropNames(ThreadDAT& dat, std::shared_ptr<char[]>& names) {
  dat.fileName = dat.pathName = nullptr;
  names.reset();
}

/// Gives a record copies of both texts, in one block.
/// @return false when memory is short; the record has no names then
bool SetNames(ThreadDAT& dat, std::shared_ptr<char[]>& names, std::string_view file,
              std::string_view path) try {
  DropNames(dat, names);
  names = std::make_shared<char[]>(file.size() + 1 + path.size() + 1);
  dat.fileName = names.get();
  dat.pathName = dat.fileName + file.size() + 1;
  std::copy(file.begin(), file.end(), dat.fileName);
  std::copy(path.begin(), path.end(), dat.pathName);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

/// Lets go of the run and of what belongs to it. A thread that still lives keeps it.
void LetGo(HANDLE& thread, ThreadDAT& dat, std::shared_ptr<CaptureRun>& run) {
  thread = dat.ownerEvent = dat.mutex = nullptr;
  run.reset();
}

/// Ends the run, or leaves it to a thread that does not answer.
void GiveUpRun(CMMWAVCapture& controller, HANDLE& thread, ThreadDAT& dat, std::shared_ptr<CaptureRun>& run) {
  const Deadline deadline(capture::kAbandonWait);
  while (thread != nullptr) {
    controller.Exit();
    if (deadline.Over()) LetGo(thread, dat, run);
  }
}

/// Waits for the owner event to say that the thread has come up, or has failed to.
bool AwaitStart(const CaptureRun& run) {
  const Deadline deadline(capture::kStartWait);
  bool over = false;
  while (WaitForSingleObject(run.ownerEvent, over ? 0 : capture::kLook) != WAIT_OBJECT_0) {
    if (over) return false;
    over = deadline.Over() || run.HasEnded();
  }
  return true;
}

/// The owner event wakes; whether the thread has ended is seen in the run, since a late start-up signals too.
bool AwaitEnd(const CaptureRun& run, const Deadline& deadline) {
  while (!run.HasEnded()) {
    if (deadline.Over()) return false;
    if (WaitForSingleObject(run.ownerEvent, capture::kLook) != WAIT_OBJECT_0) continue;
    ResetEvent(run.ownerEvent);
    const RecordLock lock(run.mutex, capture::kLook);  // under which the thread signals, and then ends
  }
  return true;
}

/// Not under the mutex: the thread needs it to carry the command out. A command that has failed gets no
/// reply; once that is known there is nothing to wait for.
/// @param before commands of that kind that had been answered when this one was sent
std::int32_t AwaitReply(const CaptureRun& run, std::uint32_t command, std::uint32_t before) {
  const Deadline deadline(capture::kReplyWait);
  const HANDLE reply = run.replyEvents[command];
  bool over = false;
  while (WaitForSingleObject(reply, over ? 0 : capture::kLook) != WAIT_OBJECT_0) {
    if (over) return kTimedOut;
    over =
        deadline.Over() || run.HasEnded() || run.answered[command].load(std::memory_order_acquire) != before;
  }
  ResetEvent(reply);
  return kDone;
}

/// A command and its answer.
/// @param prepare called under the mutex in the wanted state; its false refuses the command
template <class Prepare>
std::int32_t Exchange(CaptureRun& run, std::uint32_t wantedState, std::uint32_t command, Prepare prepare) {
  std::uint32_t before = 0;
  {
    // The check and the sending are one step under the mutex, so that the events are there and the thread is
    // not at an earlier command.
    const RecordLock lock(run.mutex, capture::kRecordWait);
    if (lock.TimedOut()) return kTimedOut;
    if (run.state != wantedState || !prepare()) return kRefused;
    before = run.answered[command].load();
    // The reply of a command which ran out its time would pass for the answer to this one.
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
  GiveUpRun(*this, threadHandle, threadDat, run);
  // The thread of the other may be writing its record.
  const RecordLock lock(other.run != nullptr ? other.run->mutex : nullptr, capture::kRecordWait);
  std::memcpy(timeText, other.timeText, sizeof timeText);
  threadDat = other.threadDat;
  threadHandle = other.threadHandle;
  names = other.names;
  if (other.run != nullptr && !lock.TimedOut()) capture::Refresh(threadDat, *other.run);
  return *this;
}

CMMWAVCapture::~CMMWAVCapture() {
  GiveUpRun(*this, threadHandle, threadDat, run);
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
    LetGo(threadHandle, threadDat, run);
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
    LetGo(threadHandle, threadDat, run);
    return kNoThread;
  }
  // What an earlier Exit asked for may have been answered since; who has ended by itself gives no answer.
  const Deadline deadline(capture::kExitWait);
  const bool answers = run->exitRequested.load(std::memory_order_acquire) || !run->HasEnded();
  if (answers) {
    ResetEvent(run->ownerEvent);
    run->RequestExit(capture::kRecordWait);
  }
  const bool ended = AwaitEnd(*run, deadline);
  const bool acknowledged = answers && ended;
  Say(acknowledged ? capture::kExitAcknowledged : capture::kExitUnacknowledged);
  if (!ended) return kTimedOut;  // it lives: nothing may go

  capture::Refresh(threadDat, *run);
  LetGo(threadHandle, threadDat, run);
  return acknowledged ? kDone : kTimedOut;
}

std::int32_t CMMWAVCapture::WaitMutex(std::uint32_t wantedState, std::uint32_t commandIndex) {
  if (run == nullptr) return kNoThread;
  return Exchange(*run, wantedState, commandIndex, [] { return true; });
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
  return Exchange(*run, kStateReady, kCommandFileOpen, [&] {
    if (!SetNames(threadDat, names, name, path != nullptr ? path : "")) return false;
    // The thread has its own part in them, which it keeps until the next file.
    run->names = names;
    run->fileName = threadDat.fileName;
    run->pathName = threadDat.pathName;
    return true;
  });
}

std::int32_t CMMWAVCapture::fileClose() {
  const std::int32_t result = WaitMutex(kStateFileOpen, kCommandFileClose);
  DropNames(threadDat, names);
  return result;
}

std::int32_t CMMWAVCapture::ClsThreadDat() {
  if (threadHandle != nullptr) return 0;
  DropNames(threadDat, names);
  threadDat = ThreadDAT{};
  return 1;
}
