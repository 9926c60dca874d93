// The processor time of a recording: the drain from the ring into the file, and the commands.
//   build/release/bin/capture_bench
// The device delivers at once what it is asked for, so only the library's own work is timed. The counter
// core% is the share of one core that recording at 44100 Hz, 16-bit stereo, takes.

#include <benchmark/benchmark.h>

#include "capture/CMMCapture.h"
#include "capture/CMMWAVCapture.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/FakeDevice.h"

namespace {

const WAVEFORMATEX kFormat = Format(44100, 2, 16);

/// One segment of a quarter second: delivered untimed, then drained.
void Drain(benchmark::State& state) {
  TempFolder folder;
  FakeDevice device;
  CMMCapture engine;
  ThreadDAT dat{};
  dat.deviceGuid = &device.id;
  dat.segmentCount = 4;
  dat.commandCount = kCommandCount;
  dat.format = kFormat;
  engine.Init(&dat);
  std::string file = folder.File("take.wav");
  dat.fileName = file.data();
  engine.fOpen(&dat);
  engine.StartREC();
  for (auto _ : state) {
    state.PauseTiming();
    device.Deliver(44100);
    state.ResumeTiming();
    if (engine.Write() != 44100) state.SkipWithError("the drain took another number of bytes");
  }
  engine.fClose();
  engine.Free(0);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 44100);
  state.counters["core%"] = benchmark::Counter(static_cast<double>(state.iterations()) * 0.25 / 100,
                                               benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(Drain)->Iterations(2000)->Unit(benchmark::kMicrosecond);

/// StartREC and StopREC: two commands to the thread with their replies; the thread wakes up for each.
void StartAndStop(benchmark::State& state) {
  TempFolder folder;
  FakeDevice device;
  CMMWAVCapture capture;
  const HANDLE thread = capture.Create(kFormat, "take.wav", folder.Path().c_str(), &device.id);
  for (auto _ : state) {
    if (capture.StartREC() != 1 || capture.StopREC() != 1) state.SkipWithError("refused");
  }
  capture.Exit();
  CloseHandle(thread);
}
BENCHMARK(StartAndStop)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// From the start of the built-in device, which delivers every 10 ms, to its first readable byte.
void FirstByte(benchmark::State& state) {
  IDirectSoundCapture* device = nullptr;
  IDirectSoundCaptureBuffer* buffer = nullptr;
  DirectSoundCaptureCreate(&platform::kSignalDevice, &device, nullptr);
  WAVEFORMATEX format = kFormat;
  DSCBUFFERDESC desc{sizeof desc, 0, 176400, 0, &format};
  device->CreateCaptureBuffer(&desc, &buffer, nullptr);
  for (auto _ : state) {
    buffer->Start(DSCBSTART_LOOPING);
    DWORD position = 0;
    while (position == 0) {
      Sleep(1);
      buffer->GetCurrentPosition(nullptr, &position);
    }
    buffer->Stop();
  }
  buffer->Release();
  device->Release();
}
BENCHMARK(FirstByte)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
