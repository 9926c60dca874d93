#include "tests/faults/subjects.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "capture/CMMWAVCapture.h"
#include "platform/posix/layer.h"
#include "tests/support/Formats.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"
#include "wavfile/CMMWav.h"

namespace {

constexpr std::uint32_t kPiece = 3000;
std::uint8_t piece[kPiece];

// Half a second, and no longer when the recording ends before.
void WaitForSound(CMMWAVCapture& recorder) {
  using namespace std::chrono_literals;
  std::uint32_t state = 4;
  std::int32_t result = 0;
  for (const auto end = std::chrono::steady_clock::now() + 600ms; std::chrono::steady_clock::now() < end;) {
    std::this_thread::sleep_for(10ms);
    recorder.GetState(&state, &result);
    if (state == 0) return;
  }
}

std::int32_t Append(WavUnit& unit, const void* data, std::uint32_t bytes) {
  return unit.WriteMirrorBuf(data, bytes);
}
std::int32_t Append(MMWavUnit& unit, const void* data, std::uint32_t bytes) {
  return unit.WriteMirrorSubBuf(data, bytes);
}

template <class Unit>
bool Mirror(const Job& job) {
  static char mirror[4096];
  std::snprintf(mirror, sizeof mirror, "%s/%s", job.folder.c_str(), kOutput);
  Unit unit;
  if (unit.OpenWFile(job.source.c_str()) != 0 || unit.CreateMirrorFile(mirror) != 0) return false;
  for (std::uint32_t left = unit.PcmDataSize(); left > 0;) {
    const std::uint32_t bytes = left < kPiece ? left : kPiece;
    if (unit.ReadPcmData(piece, bytes) != 0 || Append(unit, piece, bytes) != 0) return false;
    left -= bytes;
  }
  return unit.CloseMFile() == 0 && unit.CloseWFile() == 0;
}

}  // namespace

bool Record(const Job& job) {
  CMMWAVCapture recorder;
  const HANDLE thread =
      recorder.Create(Format(8000, 1, 16), kOutput, job.folder.c_str(), &platform::kSignalDevice);
  if (thread == nullptr) return false;
  bool fine = recorder.StartREC() == 1;
  if (fine) WaitForSound(recorder);
  fine = fine && recorder.StopREC() == 1 && recorder.fileClose() == 1;
  fine = recorder.Exit() == 1 && fine;
  return CloseHandle(thread) && fine;
}

bool ConvertInTwoStages(const Job& job) {
  constexpr std::int32_t kTwoStages = 0;
  const WAVEFORMATEX wanted = Format(11025, 1, 16);
  CMMWav source, target;
  std::uint8_t* output = nullptr;
  if (source.Open(job.source.c_str()) != 1) return false;
  if (source.BeginConvert(kTwoStages, wanted, &output, nullptr) == 0) return false;
  if (target.Open(wanted, kOutput, job.folder.c_str()) != 1) return false;
  const std::uint32_t frames = source.GetSampleSize();
  while (source.GetNowSampleSize() < frames) {
    std::uint32_t made = 0;
    std::uint32_t taken = 0;
    if (source.Convert(kPiece, &made) != 1 || target.Write(made, output, &taken) != 1 || taken != made) {
      return false;
    }
  }
  return target.Close() == 1 && source.Close() == 1;
}

bool MirrorStrictly(const Job& job) {
  return Mirror<WavUnit>(job);
}

bool MirrorSearching(const Job& job) {
  return Mirror<MMWavUnit>(job);
}
