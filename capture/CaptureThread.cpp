// The one thread of the library: it waits for the ring's notification and for commands, and turns each into
// calls of the engine. How it and the controller keep out of each other's way is told in
// docs/architecture.md.

#include "capture/CaptureThread.h"

#include <algorithm>
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
using capture::RunJournal;

constexpr DWORD kTurn = 100;                // milliseconds of one wait
constexpr std::uint32_t kDrainsInARow = 4;  // a ring of segments at the least

/// The record of the present run; it changes only while no thread lives.
constinit ThreadDAT* boundThreadDat = nullptr;

/// The engine outlives the threads: each run takes it through Init and Free. Built by the first one, in
/// storage that starts zero, so that loading the library constructs nothing.
alignas(CMMCapture) constinit std::byte engineStorage[sizeof(CMMCapture)] = {};

CMMCapture& BuiltEngine() {
  return *std::launder(reinterpret_cast<CMMCapture*>(engineStorage));
}

/// At process exit or unload. Where the system has not ended the thread by then, a host that left without
/// Exit has it still at work: it is asked to end, which finishes its file, and an engine in use is left
/// alone.
void destroyEngine() {
  const capture::Deadline deadline(capture::kExitWait);
  for (bool ask = true; capture::IsAnyRunAlive(ask); ask = false) {
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

/// @return bytes that the file took
std::uint32_t MoveSegments(CMMCapture& engine, ThreadDAT& dat) {
  const auto bytes = static_cast<std::uint32_t>(engine.Write());
  dat.recordedBytes += bytes;
  dat.maxLevel = engine.GetMaxLevel();
  return bytes;
}

/// @return whether the run goes on
bool Drain(CMMCapture& engine, ThreadDAT& dat) {
  const capture::RecordLock lock(dat.mutex, INFINITE);
  const bool moved = MoveSegments(engine, dat) != 0;
  return RunJournal::Get().EndDrain(moved);
}

/// After a stop: what still waits in whole segments goes into the file, as far as the time allows.
void SaveRest(CMMCapture& engine, ThreadDAT& dat, DWORD milliseconds) {
  const capture::Deadline deadline(milliseconds);
  while (!deadline.Over() && MoveSegments(engine, dat) != 0) RunJournal::Get().EndDrain(true);
}

/// Ahead of the file's end: what the time was not enough for is taken out of the ring and counted, so that no
/// notification of it comes when there is no file any more.
void GiveUpRest(CMMCapture& engine) {
  RunJournal& journal = RunJournal::Get();
  std::uint32_t bytes = 0;
  journal.BeginGivingUp();
  while (engine.RecordData(&bytes) == 0) continue;
  journal.EndGivingUp(bytes);
}

// --- The file's end ---------------------------------------------------------------------------------------

/// What a file holds that could not be finished as it should.
std::uint32_t BytesInFile(const ThreadDAT& dat) {
  CMMWav file;
  WAVEFORMATEX format{};
  if (file.Open(dat.fileName, dat.pathName) != 1 || file.GetFileInfo(&format) != 1) return 0;
  return static_cast<std::uint32_t>(std::llround(file.GetPlayTime() * format.nAvgBytesPerSec));
}

/// Finishes the file. A count of bytes that are not in it is put right.
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
  if (result == 1) SaveRest(engine, dat, capture::kStopSaves);
  return result;
}

std::int32_t Close(CMMCapture& engine, ThreadDAT& dat) {
  engine.StopREC();
  SaveRest(engine, dat, capture::kStopSaves);
  GiveUpRest(engine);
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

void Serve(CMMCapture& engine, CaptureRun& run, std::uint32_t index) {
  ThreadDAT& dat = run.record;
  const capture::RecordLock lock(dat.mutex, INFINITE);
  dat.result = kCommands[index].act(engine, dat);
  if (dat.result == 1) {
    dat.state = kCommands[index].nextState;
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

/// @return 1 when the run has come up; otherwise everything is given back
std::int32_t StartUp(CMMCapture& engine, CaptureRun& run) {
  ThreadDAT& dat = run.record;
  const std::int32_t result = engine.Init(&dat);
  dat.result = result;
  if (result == 1) {
    dat.state = kStateReady;
  } else {
    RunJournal::Get().EndRun(cmm::CaptureEnd::kStartFailed, result);
    engine.Free(0);
    --dat.threadCount;
  }
  engine.OwnerCall();
  // Behind the call: Create, which need not wait any longer, finds the signal where there is one.
  if (result != 1) run.phase.store(CaptureRun::Phase::kEnding, std::memory_order_release);
  return result;
}

/// Waits and serves until the run is to end.
/// @return whether it was asked to; otherwise it has ended by itself
bool Loop(CMMCapture& engine, CaptureRun& run) {
  std::uint32_t drains = 0;  // one right behind the other
  while (!run.exitRequested.load(std::memory_order_acquire)) {
    // The notification goes ahead of the commands. But when the disk is slower than the sound there always is
    // one, and it must not shut them out.
    const std::uint32_t waiting = drains < kDrainsInARow ? kCommandCount : WaitingCommand(run.record);
    const std::uint32_t woken = waiting < kCommandCount ? 1 + waiting : engine.MsgWait(kTurn);
    drains = woken == 0 ? drains + 1 : 0;
    if (woken > kCommandCount) continue;  // time-out, or input: nothing to do
    if (woken == 0) {
      if (!Drain(engine, run.record)) return false;
    } else if (woken - 1 == kCommandExit) {
      return true;
    } else {
      Serve(engine, run, woken - 1);
    }
  }
  return true;
}

void ShutDown(CMMCapture& engine, CaptureRun& run, bool asked) {
  ThreadDAT& dat = run.record;
  {
    const capture::RecordLock lock(dat.mutex, INFINITE);
    engine.StopREC();
    if (asked && dat.state != kStateReady) {
      SaveRest(engine, dat, capture::kExitSaves);
      GiveUpRest(engine);
    }
    RunJournal::Get().EndRun(cmm::CaptureEnd::kExit);
    dat.result = CloseFile(engine, dat);
    engine.Free(0);
    --dat.threadCount;
    dat.state = kStateNone;
    run.phase.store(CaptureRun::Phase::kEnding, std::memory_order_release);
  }
  engine.OwnerCall();
}

void Run(CaptureRun& run) {
  ThreadDAT& dat = run.record;
  {
    const capture::RecordLock lock(dat.mutex, INFINITE);
    if (++dat.threadCount != 1) {
      --dat.threadCount;
      return;
    }
    if (StartUp(Engine(), run) != 1) return;
  }
  CMMCapture& engine = Engine();
  const bool asked = Loop(engine, run);
  ShutDown(engine, run, asked);
}

}  // namespace

unsigned __stdcall CaptureThread(void* threadDat) {
  if (CaptureRun* run = capture::FindRunOfThread(static_cast<ThreadDAT*>(threadDat))) {
    boundThreadDat = &run->record;
    Run(*run);
    // From here on the record, the handles and the run itself may go.
    capture::MarkGone(*run);
  }
  _endthreadex(0);
}
