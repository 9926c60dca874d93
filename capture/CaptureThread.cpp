// The one thread of the library: it waits for the ring's notification and for commands, and turns each into
// calls of the engine. Why it and the controller do not get in each other's way is in docs/architecture.md.

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

/// The engine outlives the threads: each run takes it through Init and Free. Built by the first one, in
/// storage that starts zero, so that loading the library constructs nothing.
alignas(CMMCapture) constinit std::byte engineStorage[sizeof(CMMCapture)] = {};

CMMCapture& BuiltEngine() {
  return *std::launder(reinterpret_cast<CMMCapture*>(engineStorage));
}

/// The process ends, or unloads the library: no run is to go on.
constinit std::atomic<bool> processEnds{false};

/// Where the system has not ended the thread by then, a host that left without Exit has it still at work. It
/// is asked to end, which finishes its file; an engine that is still in use then is left alone.
void destroyEngine() {
  processEnds.store(true, std::memory_order_release);
  const Deadline deadline(capture::kExitWait);
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

/// One drain, and what the record tells of it.
/// @return bytes that the file took
std::uint32_t Drain(CMMCapture& engine, ThreadDAT& dat) {
  const auto bytes = static_cast<std::uint32_t>(engine.Write());
  dat.recordedBytes += bytes;
  dat.maxLevel = engine.GetMaxLevel();
  return bytes;
}

/// After a stop: what still waits in whole segments goes into the file, as far as the time allows.
void DrainRest(CMMCapture& engine, ThreadDAT& dat, DWORD milliseconds) {
  const Deadline deadline(milliseconds);
  while (!deadline.Over() && Drain(engine, dat) != 0) RunJournal::Get().EndDrain(true);
}

/// Before the file's end: what the time was not enough for is taken out of the ring and counted, so that no
/// notification of it comes when there is no file any more.
void DiscardRest(CMMCapture& engine) {
  RunJournal& journal = RunJournal::Get();
  std::uint32_t bytes = 0;
  journal.BeginDiscard();
  while (engine.RecordData(&bytes) == 0) continue;
  journal.EndDiscard(bytes);
}

// --- The file's end ---------------------------------------------------------------------------------------

/// What a file holds that could not be finished as it should.
std::uint32_t BytesInFile(const ThreadDAT& dat) {
  CMMWav file;
  WAVEFORMATEX format{};
  if (file.Open(dat.fileName, dat.pathName) != 1 || file.GetFileInfo(&format) != 1) return 0;
  return static_cast<std::uint32_t>(std::llround(file.GetPlayTime() * format.nAvgBytesPerSec));
}

/// Finishes the file. Bytes that are not in it are taken off the count.
std::int32_t CloseFile(CMMCapture& engine, ThreadDAT& dat) {
  RunJournal& journal = RunJournal::Get();
  const bool hadFile = dat.state == kStateCapturing || dat.state == kStateFileOpen;
  const std::int32_t result = engine.fClose();
  if (!hadFile) return result;
  const std::uint32_t missing = journal.FileClosed(result == 1 ? journal.FileBytes() : BytesInFile(dat));
  dat.recordedBytes -= std::min(missing, dat.recordedBytes);  // SetSamples may have begun anew
  return result;
}

// --- Commands ---------------------------------------------------------------------------------------------

std::int32_t Stop(CMMCapture& engine, ThreadDAT& dat) {
  const std::int32_t result = engine.StopREC();
  if (result == 1) DrainRest(engine, dat, capture::kStopSaves);
  return result;
}

std::int32_t Close(CMMCapture& engine, ThreadDAT& dat) {
  engine.StopREC();
  DrainRest(engine, dat, capture::kStopSaves);
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
  // Under the mutex still: who got the reply cannot have sent the next command before this reset.
  engine.ResetEvent(index);
  run.answered[index].fetch_add(1, std::memory_order_release);
}

/// The first command that waits. @return kCommandCount when there is none
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

/// Waits and serves until the run is to end.
/// @return whether it was asked to; otherwise it has ended by itself
bool Loop(CMMCapture& engine, CaptureRun& run) {
  std::uint32_t drains = 0;  // one after the other, with nothing in between
  while (!run.exitRequested.load(std::memory_order_acquire) && !processEnds.load(std::memory_order_acquire)) {
    // The notification goes before the commands. But when the disk is slower than the sound there always is
    // one, and it must not shut them out.
    const std::uint32_t waiting = drains < capture::kDrainsInARow ? kCommandCount : WaitingCommand(run);
    const std::uint32_t woken = waiting < kCommandCount ? 1 + waiting : engine.MsgWait(capture::kTurn);
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

/// Gives the device back and lets the controller know. Under the mutex; the record has its last state.
void EndRun(CMMCapture& engine, CaptureRun& run) {
  engine.Free(0);
  --run.threadCount;
  engine.OwnerCall();
  // After the call: Create, which waits no longer for a run that has ended, finds the signal if there is one.
  run.End();
}

/// @return whether the run has come up; otherwise it has ended
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
    DrainRest(engine, run, capture::kExitSaves);
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
