// Records for three seconds, shows time and level four times a second, and prints a report of the recording.
#include <cstdio>

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureReport.h"

int main() {
  const WAVEFORMATEX mono{WAVE_FORMAT_PCM, 1, 48000, 96000, 2, 16, 0};
  CMMWAVCapture recorder;
  const HANDLE thread = recorder.Create(mono, "meter.wav", nullptr, nullptr);
  if (thread == nullptr) return 1;
  CloseHandle(thread);
  if (recorder.StartREC() != 1) return 1;
  for (int look = 0; look < 12; ++look) {
    Sleep(250);
    std::int32_t level = 0;
    const char* const time = recorder.GetTimeString(&level);  // the highest sample of the last segment
    std::printf("%s  %6.1f %%\n", time, level * 100.0 / 32768);
  }
  recorder.StopREC();
  recorder.fileClose();
  recorder.Exit();
  const cmm::CaptureReport report = cmm::GetCaptureReport();  // any thread may ask, at any time
  std::printf("%llu frames in the file, %u gaps, %.2f s lost\n",
              static_cast<unsigned long long>(report.framesInFile), report.overruns,
              static_cast<double>(report.lostFrames) / 48000);
  return report.end == cmm::CaptureEnd::kExit ? 0 : 1;
}
