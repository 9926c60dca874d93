// An object and its copies, of any class that holds something open, are closed and destroyed in any order.
#include <algorithm>
#include <array>
#include <memory>

#include "capture/CMMWAVCapture.h"
#include "platform/posix/layer.h"
#include "tests/support/Formats.h"
#include "tests/support/Private.h"
#include "tests/support/System.h"
#include "tests/units/wav_units.h"
#include "units/MCIWavUnit.h"

PRIVATE_FIELD(Device, MCIWavUnit, std::uint32_t, deviceId)

namespace {

void Open(CMMWav& wav, const std::string& file) {
  std::uint8_t* output = nullptr;
  ASSERT_EQ(wav.Open(file.c_str()), 1);
  ASSERT_NE(wav.BeginConvert(0, Format(8000, 1, 8), &output, nullptr), 0u);
}
template <class Unit>
void Open(Unit& unit, const std::string& file) {
  ASSERT_EQ(unit.OpenWFile(file.c_str()), 0);
  ASSERT_EQ(unit.CreateMirrorFile((file + ".mirror").c_str()), 0);
}
/// With a device that has its file, and has not begun to play it: that needs no sound output.
void Open(MCIWavUnit& unit, const std::string& file) {
  MCI_WAVE_OPEN_PARMSA open{};
  open.lpstrDeviceType = reinterpret_cast<LPCSTR>(DWORD_PTR{MCI_DEVTYPE_WAVEFORM_AUDIO});
  open.lpstrElementName = file.c_str();
  const DWORD_PTR flags = MCI_OPEN_TYPE | MCI_OPEN_TYPE_ID | MCI_OPEN_ELEMENT;
  ASSERT_EQ(mciSendCommandA(0, MCI_OPEN, flags, reinterpret_cast<DWORD_PTR>(&open)), 0u);
  Device(unit) = open.wDeviceID;
}
void Open(CMMWAVCapture& capture, const std::string& file) {
  const HANDLE thread = capture.Create(Format(8000, 1, 16), &platform::kSignalDevice);
  ASSERT_NE(thread, nullptr);
  CloseHandle(thread);
  ASSERT_EQ(capture.fileOpen((file + ".take").c_str(), nullptr), 1);
  ASSERT_EQ(capture.StartREC(), 1);
}

void Close(CMMWav& wav) {
  wav.Close(0);
}
template <class Unit>
void Close(Unit& unit) {
  unit.CloseWFile();
  unit.CloseMFile();
}
void Close(MCIWavUnit& unit) {
  unit.MCIClose();
}
void Close(CMMWAVCapture& capture) {
  capture.StopREC();
  capture.fileClose();
  capture.Exit();
}

template <class Class>
class AnyOrder : public WavTest {};
using Classes = testing::Types<CMMWav, WavUnit, MMWavUnit, MCIWavUnit, CMMWAVCapture>;
TYPED_TEST_SUITE(AnyOrder, Classes);

TYPED_TEST(AnyOrder, LeavesNothingOpen) {
  const std::string file = this->Make(Format(8000, 1, 16), Pattern(1000));
  std::array<std::size_t, 3> order = {0, 1, 2};
  do {
    for (unsigned closing = 0; closing < 8; ++closing) {
      std::array<std::unique_ptr<TypeParam>, 3> objects;
      objects[0] = std::make_unique<TypeParam>();
      objects[2] = std::make_unique<TypeParam>();
      Open(*objects[0], file);
      objects[1] = std::make_unique<TypeParam>(*objects[0]);
      *objects[2] = *objects[1];
      EXPECT_GT(OpenFiles(this->folder_.Path()), 0u);
      for (const std::size_t index : order) {
        if ((closing >> index & 1) != 0) Close(*objects[index]);
        objects[index].reset();
      }
      EXPECT_EQ(OpenFiles(this->folder_.Path()), 0u);
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

}  // namespace
