// The library's only thread: it waits for the ring's notification and for commands, and calls the engine for
// each. docs/architecture.md explains how it and the controller work together without races.

#include "capture/CaptureThread.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "capture/CMMCapture.h"
#include "capture/CaptureRun.h"
#include "capture/Limits.h"
#include "capture/RecordLock.h"
#include "capture/RunJournal.h"

namespace {

using capture::CaptureRun;
using capture::Deadline;
using capture::RecordLock;
using capture::RunJournal;

/// The engine outlives the threads: each run takes it through Init and Free. The first run constructs it, in
/// storage that starts zero, so that loading the library runs nothing.
alignas(CMMCapture) constinit std::byte engineStorage[sizeof(CMMCapture)] = {};

CMMCapture& BuiltEngine() {
  return *std::launder(reinterpret_cast<CMMCapture*>(engineStorage));
}

/// Set when the process ends or unloads the library: every run has to end.
constinit std::atomic<bool> processEnding{false};

/// A host may leave without Exit while its thread still runs. The thread is asked to end, which finishes its
/// file; an engine that is still in use after the limit is not destroyed.
void destroyEngine() {
  processEnding.store(true, std::memory_order_release);
  const Deadline deadline(capture::kExitWaitMs);
  while (capture::IsAnyRunAlive()) {
    if (deadline.Over()) return;
    Sleep(1);
  }
  BuiltEngine().~CMMCapture();
}

CMMCapture& Engine() {
  [[maybe_unused]] static const int registered = (new (engineStorage) CMMCapture, std::atexit(destroyEngine));
  return BuiltEngine();
}

// --- Drains -----------------------------------------------------------------------------------------------

/// One drain, with its count and level stored in the record.
/// @return bytes that the file took
std::uint32_t Drain(CMMCapture& engine, ThreadDAT& dat) {
  const auto bytes = static_cast<std::uint32_t>(engine.Write());
  dat.recordedBytes += bytes;
  dat.maxLevel = engine.GetMaxLevel();
  return bytes;
}

/// After a stop: drains the whole segments that still wait, as far as the time allows.
void DrainRest(CMMCapture& engine, ThreadDAT& dat, DWORD milliseconds) {
  const Deadline deadline(milliseconds);
  while (!deadline.Over() && Drain(engine, dat) != 0) RunJournal::Get().EndDrain(true);
}

/// Before the file is closed: takes what is left out of the ring and counts it as lost, so that no
/// notification for it comes when there is no file any more.
void DiscardRest(CMMCapture& engine) {
  RunJournal& journal = RunJournal::Get();
  std::uint32_t bytes = 0;
  journal.BeginDiscard();
  while (engine.RecordData(&bytes) == 0) continue;
  journal.EndDiscard(bytes);
}

// --- Closing the file -------------------------------------------------------------------------------------

/// The data bytes of a file that could not be finished properly.
std::uint32_t BytesInFile(const ThreadDAT& dat) {
  CMMWav file;
  WAVEFORMATEX format{};
  if (file.Open(dat.fileName, dat.pathName) != 1 || file.GetFileInfo(&format) != 1) return 0;
  return static_cast<std::uint32_t>(std::llround(file.GetPlayTime() * format.nAvgBytesPerSec));
}

/// Finishes the file. Bytes that it does not hold are subtracted from the count.
std::int32_t CloseFile(CMMCapture& engine, ThreadDAT& dat) {
  RunJournal& journal = RunJournal::Get();
  const bool hadFile = dat.state == kStateCapturing || dat.state == kStateFileOpen;
  const std::int32_t result = engine.fClose();
  if (!hadFile) return result;
  const std::uint32_t missing = journal.FileClosed(result == 1 ? journal.FileBytes() : BytesInFile(dat));
  dat.recordedBytes -= std::min(missing, dat.recordedBytes);  // SetSamples may have lowered it
  return result;
}

// --- Commands ---------------------------------------------------------------------------------------------

std::int32_t Stop(CMMCapture& engine, ThreadDAT& dat) {
  const std::int32_t result = engine.StopREC();
  if (result == 1) DrainRest(engine, dat, capture::kStopSaveMs);
  return result;
}

std::int32_t Close(CMMCapture& engine, ThreadDAT& dat) {
  engine.StopREC();
  DrainRest(engine, dat, capture::kStopSaveMs);
  DiscardRest(engine);
  return CloseFile(engine, dat);
}

/// The action of a command, its result, and the state that follows a result of 1.
struct Command {
  std::int32_t (*act)(CMMCapture& engine, ThreadDAT& dat);
  std::uint32_t nextState;
};

constexpr Command kCommands[kCommandCount] = {
    {nullptr, kStateNone},  // exit: the shut-down
    {[](CMMCapture& engine, ThreadDAT&) { return engine.StartREC(); }, kStateCapturing},
    {Stop, kStateFileOpen},
    {[](CMMCapture& engine, ThreadDAT& dat) { return engine.fOpen(&dat); }, kStateFileOpen},
    {Close, kStateReady},
};

void ServeCommand(CMMCapture& engine, CaptureRun& run, std::uint32_t index) {
  const RecordLock lock(run.mutex, INFINITE);
  run.result = kCommands[index].act(engine, run);
  if (run.result == 1) {
    run.state = kCommands[index].nextState;
    engine.SetRevEvent(index);
  }
  // Still under the mutex: the controller cannot send the next command before this reset.
  engine.ResetEvent(index);
  run.answered[index].fetch_add(1, std::memory_order_release);
}

/// @return the first command that waits; kCommandCount when there is none
std::uint32_t WaitingCommand(const ThreadDAT& dat) {
  std::uint32_t index = 0;
  while (index < kCommandCount && WaitForSingleObject(dat.commandEvents[index], 0) != WAIT_OBJECT_0) ++index;
  return index;
}

// --- The run ----------------------------------------------------------------------------------------------

/// @return whether the run goes on
bool ServeNotification(CMMCapture& engine, CaptureRun& run) {
  const RecordLock lock(run.mutex, INFINITE);
  const bool moved = Drain(engine, run) != 0;
  return RunJournal::Get().EndDrain(moved);
}

/// Waits and serves until the run ends.
/// @return whether it was asked to end; otherwise it ended by itself
bool Loop(CMMCapture& engine, CaptureRun& run) {
  std::uint32_t drains = 0;  // in a row
  while (!run.exitRequested.load(std::memory_order_acquire) &&
         !processEnding.load(std::memory_order_acquire)) {
    // The notification goes before the commands. But when the disk is slower than the device there is always
    // one, so after some drains in a row a waiting command goes first.
    const std::uint32_t waiting = drains < capture::kDrainsInARow ? kCommandCount : WaitingCommand(run);
    const std::uint32_t woken = waiting < kCommandCount ? 1 + waiting : engine.MsgWait(capture::kLoopWaitMs);
    drains = woken == 0 ? drains + 1 : 0;
    if (woken > kCommandCount) continue;  // time-out, or input: nothing to do
    if (woken == 0) {
      if (!ServeNotification(engine, run)) return false;
    } else if (woken - 1 == kCommandExit) {
      return true;
    } else {
      ServeCommand(engine, run, woken - 1);
    }
  }
  return true;
}

/// Gives the device back and wakes the controller. Under the mutex; the record has its last state.
void EndRun(CMMCapture& engine, CaptureRun& run) {
  engine.Free(0);
  --run.threadCount;
  engine.OwnerCall();
  // Only after OwnerCall: Create stops waiting when the run has ended, and must then find the signal.
  run.End();
}

/// @return whether the start-up has worked; otherwise the run has ended
bool StartUp(CMMCapture& engine, CaptureRun& run) {
  const RecordLock lock(run.mutex, INFINITE);
  ++run.threadCount;
  run.result = engine.Init(&run);
  if (run.result != 1) {
    RunJournal::Get().EndRun(cmm::CaptureEnd::kStartFailed, run.result);
    EndRun(engine, run);
    return false;
  }
  run.state = kStateReady;
  engine.OwnerCall();
  return true;
}

void ShutDown(CMMCapture& engine, CaptureRun& run, bool asked) {
  const RecordLock lock(run.mutex, INFINITE);
  engine.StopREC();
  if (asked && run.state != kStateReady) {
    DrainRest(engine, run, capture::kExitSaveMs);
    DiscardRest(engine);
  }
  RunJournal::Get().EndRun(cmm::CaptureEnd::kExit);
  run.result = CloseFile(engine, run);
  run.state = kStateNone;
  EndRun(engine, run);
}

}  // namespace

unsigned __stdcall CaptureThread(void* threadDat) {
  if (const auto run = CaptureRun::OfThread(static_cast<ThreadDAT*>(threadDat))) {
    CMMCapture& engine = Engine();
    if (StartUp(engine, *run)) {
      const bool asked = Loop(engine, *run);
      ShutDown(engine, *run, asked);
    }
  }
  _endthreadex(0);
}
