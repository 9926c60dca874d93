// The one thread of the library: it waits for the ring's notification and for commands, and turns each into
// calls of the engine. How it and the controller keep out of each other's way is told in
// docs/architecture.md.

#include "capture/CaptureThread.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#include "capture/CMMCapture.h"
#include "capture/CaptureRun.h"
#include "capture/RecordLock.h"

namespace {

using capture::CaptureRun;

constexpr DWORD kTurn = 100;  // milliseconds of one wait

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
  if (CaptureRun* run = capture::LivingRun()) {
    capture::RequestExit(*run);
    for (DWORD waited = 0; !run->Gone(); ++waited) {
      if (waited == capture::kExitWait) return;
      Sleep(1);
    }
  }
  BuiltEngine().~CMMCapture();
}

CMMCapture& Engine() {
  [[maybe_unused]] static const int registered = (new (engineStorage) CMMCapture, std::atexit(destroyEngine));
  return BuiltEngine();
}

/// The action of a command, its result, and the state that follows a result of 1.
struct Command {
  std::int32_t (*act)(CMMCapture& engine, ThreadDAT& dat);
  std::uint32_t nextState;
};

constexpr Command kCommands[kCommandCount] = {
    {nullptr, kStateNone},  // exit: the shut-down
    {[](CMMCapture& engine, ThreadDAT&) { return engine.StartREC(); }, kStateCapturing},
    {[](CMMCapture& engine, ThreadDAT&) { return engine.StopREC(); }, kStateFileOpen},
    {[](CMMCapture& engine, ThreadDAT& dat) { return engine.fOpen(&dat); }, kStateFileOpen},
    {[](CMMCapture& engine, ThreadDAT&) {
       engine.StopREC();
       return engine.fClose();
     },
     kStateReady},
};

void Serve(CMMCapture& engine, ThreadDAT& dat, std::uint32_t index) {
  const capture::RecordLock lock(dat.mutex, INFINITE);
  dat.result = kCommands[index].act(engine, dat);
  if (dat.result == 1) {
    dat.state = kCommands[index].nextState;
    engine.SetRevEvent(index);
  }
  // Under the mutex still: who got the reply cannot have sent the next command before this reset.
  engine.ResetEvent(index);
}

/// @return whether the file took anything; if not, the run is over
bool Drain(CMMCapture& engine, ThreadDAT& dat) {
  const capture::RecordLock lock(dat.mutex, INFINITE);
  const auto bytes = static_cast<std::uint32_t>(engine.Write());
  dat.recordedBytes += bytes;
  dat.maxLevel = engine.GetMaxLevel();
  return bytes != 0;
}

/// @return 1 when the run has come up; otherwise everything is given back
std::int32_t StartUp(CMMCapture& engine, ThreadDAT& dat, CaptureRun& run) {
  const std::int32_t result = engine.Init(&dat);
  dat.result = result;
  if (result == 1) {
    dat.state = kStateReady;
  } else {
    engine.Free(0);
    --dat.threadCount;
    run.phase.store(CaptureRun::Phase::kEnding, std::memory_order_release);
  }
  engine.OwnerCall();
  return result;
}

/// Waits and serves until the run is to end.
void Loop(CMMCapture& engine, ThreadDAT& dat, const CaptureRun& run) {
  while (!run.exitRequested.load(std::memory_order_acquire)) {
    const std::uint32_t woken = engine.MsgWait(kTurn);
    if (woken > kCommandCount) continue;  // time-out, or input: nothing to do
    if (woken == 0) {
      if (!Drain(engine, dat)) return;
    } else if (woken - 1 == kCommandExit) {
      return;
    } else {
      Serve(engine, dat, woken - 1);
    }
  }
}

void ShutDown(CMMCapture& engine, ThreadDAT& dat, CaptureRun& run) {
  {
    const capture::RecordLock lock(dat.mutex, INFINITE);
    engine.StopREC();
    dat.result = engine.fClose();
    engine.Free(0);
    --dat.threadCount;
    dat.state = kStateNone;
    run.phase.store(CaptureRun::Phase::kEnding, std::memory_order_release);
  }
  engine.OwnerCall();
}

void Run(ThreadDAT& dat, CaptureRun& run) {
  {
    const capture::RecordLock lock(dat.mutex, INFINITE);
    if (++dat.threadCount != 1) {
      --dat.threadCount;
      return;
    }
    if (StartUp(Engine(), dat, run) != 1) return;
  }
  CMMCapture& engine = Engine();
  Loop(engine, dat, run);
  ShutDown(engine, dat, run);
}

}  // namespace

unsigned __stdcall CaptureThread(void* threadDat) {
  if (CaptureRun* run = capture::FindRun(static_cast<ThreadDAT*>(threadDat))) {
    boundThreadDat = run->record;
    Run(*boundThreadDat, *run);
    // From here on the record, the handles and the run itself may go.
    run->phase.store(CaptureRun::Phase::kGone, std::memory_order_release);
  }
  _endthreadex(0);
}
