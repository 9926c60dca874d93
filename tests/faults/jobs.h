#pragma once
// What a host does with the library. The jobs allocate nothing themselves and call the system only through the
// library, so that every failure is inside it. Each returns whether it has succeeded, by its calls' results
// alone.

#include <chrono>
#include <string>
#include <thread>

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureReport.h"
#include "platform/posix/layer.h"
#include "tests/support/Formats.h"
#include "units/MCIWavUnit.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"
#include "wavfile/CMMWav.h"
#include "wavfile/WavCheck.h"

namespace jobs {

struct Files {
  std::string source;  // a finished WAV file of 8000 Hz, mono, 16 bits
  std::string target;
};

inline std::uint8_t piece[3000];

/// @param frames of sound, as long as that may take on a machine under load
inline bool Record(const Files& files, const GUID* device, WAVEFORMATEX format, std::uint64_t frames) {
  CMMWAVCapture recorder;
  const HANDLE thread = recorder.Create(format, files.target.c_str(), nullptr, device);
  if (thread == nullptr) return false;
  bool fine = recorder.StartREC() == 1;
  for (int looks = 0; fine && looks < 60; ++looks) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const cmm::CaptureReport report = cmm::GetCaptureReport();
    if (report.framesInFile >= frames || report.end != cmm::CaptureEnd::kRunning) break;
  }
  fine = fine && cmm::GetCaptureReport().framesInFile > 0;
  fine = fine && recorder.StopREC() == 1 && recorder.fileClose() == 1;
  fine = recorder.Exit() == 1 && fine;
  WaitForSingleObject(thread, 5000);
  return CloseHandle(thread) && fine;
}

inline bool RecordSignal(const Files& files) {
  return Record(files, &platform::kSignalDevice, Format(8000, 1, 16), 4000);
}

inline bool RecordRoom(const Files& files) {
  return Record(files, nullptr, Format(44100, 2, 16), 22050);
}

inline bool Read(const Files& files) {
  CMMWav source;
  std::uint32_t sum = 0;
  bool fine = source.Open(files.source.c_str()) == 1 && source.SampleFind(100) == 1 && source.Reset() == 1;
  for (std::uint32_t got = 0; fine && sum < source.GetSampleToByte(source.GetSampleSize()); sum += got) {
    fine = source.Read(sizeof piece, piece, &got) == 1 && got > 0;
  }
  return fine && source.Close() == 1;
}

inline bool Write(const Files& files) {
  CMMWav target;
  std::uint32_t taken = 0;
  bool fine = target.Open(Format(8000, 1, 16), files.target.c_str()) == 1;
  for (std::uint32_t bytes = 2; fine && bytes <= sizeof piece; bytes *= 3) {
    fine = target.Write(bytes, piece, &taken) == 1 && taken == bytes;
  }
  return fine && target.Close() == 1;
}

template <int kStages>
bool Convert(const Files& files) {
  const WAVEFORMATEX wanted = Format(11025, 1, 16);
  CMMWav source, target;
  std::uint8_t* output = nullptr;
  bool fine = source.Open(files.source.c_str()) == 1 &&
              source.BeginConvert(kStages == 1 ? 1 : 0, wanted, &output, nullptr) != 0 &&
              target.Open(wanted, files.target.c_str()) == 1;
  while (fine && source.GetNowSampleSize() < source.GetSampleSize()) {
    std::uint32_t made = 0, taken = 0;
    fine =
        source.Convert(sizeof piece, &made) == 1 && target.Write(made, output, &taken) == 1 && taken == made;
  }
  return fine && target.Close() == 1 && source.Close() == 1;
}

template <class Unit, auto kAppend>
bool Mirror(const Files& files) {
  Unit unit;
  if (unit.OpenWFile(files.source.c_str()) != 0 || unit.CreateMirrorFile(files.target.c_str()) != 0)
    return false;
  for (std::uint32_t left = unit.PcmDataSize(); left > 0;) {
    const std::uint32_t bytes = left < sizeof piece ? left : sizeof piece;
    if (unit.ReadPcmData(piece, bytes) != 0 || (unit.*kAppend)(piece, bytes) != 0) return false;
    left -= bytes;
  }
  return unit.CloseMFile() == 0 && unit.CloseWFile() == 0;
}

/// Of an unfinished file.
inline bool Check(const Files& files) {
  return cmm::CheckWavFile(files.source.c_str(), nullptr, nullptr) == 2;
}

inline bool Repair(const Files& files) {
  cmm::WavRepair how;
  how.copyTo = files.target.c_str();
  return cmm::RepairWavFile(files.source.c_str(), how, nullptr, nullptr, nullptr) == 1;
}

inline bool RepairInPlace(const Files& files) {
  return cmm::RepairWavFile(files.target.c_str(), {}, nullptr, nullptr, nullptr) > 0;
}

/// The unit does not report the end.
inline bool Play(const Files& files) {
  MCIWavUnit player;
  if (!player.WavPlay(files.source.c_str())) return false;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  return player.MCIClose();
}

}  // namespace jobs
