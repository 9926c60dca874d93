// Everything that a host does with the library, a thousand times in one process: recording, playing, and all that
// works on files, at the same time. What the process holds must not grow.

#include <cmath>
#include <thread>
#include <vector>

#include "harmony/HarmonyUnit.h"
#include "resample/AudioLinearFilter.h"
#include "tests/faults/jobs.h"
#include "tests/soak/Take.h"
#include "tests/support/Holdings.h"
#include "tests/support/SoundServer.h"
#include "tests/support/files.h"
#include "units/PathHelpers.h"

namespace {

constexpr int kRounds = 1000;
constexpr int kFirst = 50;  // rounds in which tables are made that stay

/// Of files that are not there.
bool Refusals(const jobs::Files& files) {
  CMMWav wav;
  WavUnit unit;
  MMWavUnit checked;
  const std::string missing = files.target + "/missing";
  return wav.Open(missing.c_str()) != 1 && wav.Open(Format(8000, 1, 16), missing.c_str()) != 1 &&
         unit.OpenWFile(missing.c_str()) != 0 && checked.OpenWFile(missing.c_str()) != 0 &&
         cmm::CheckWavFile(missing.c_str(), nullptr, nullptr) == -1;
}

/// Drivers and devices.
bool Lists(const jobs::Files& files) {
  const HWND combo = platform::CreateComboBox();
  CMMWav wav;
  ACMDRIVERDETAILSA details{};
  std::uint8_t* output = nullptr;
  const bool fine = wav.ListUpDriver(combo) == 1 && wav.ListFromDriver(combo, 0) != nullptr &&
                    wav.Open(files.source.c_str()) == 1 &&
                    wav.BeginConvert(1, Format(8000, 2, 16), &output, nullptr) != 0 &&
                    wav.GetDriverDetails(&details) == 1;
  platform::DestroyComboBox(combo);
  int devices = 0;
  const auto count = [](GUID*, const char*, const char*, void* counter) -> BOOL {
    return ++*static_cast<int*>(counter);
  };
  return DirectSoundCaptureEnumerateA(count, &devices) == DS_OK && devices > 0 && fine;
}

/// @tparam kSignal the built-in signal, else the sound server
template <bool kSignal>
bool RecordsShortly(const jobs::Files& files) {
  return kSignal ? jobs::Record(files, &platform::kSignalDevice, Format(8000, 1, 16), 400)
                 : jobs::Record(files, nullptr, Format(44100, 2, 16), 2000);
}

/// What holds nothing.
bool Pure(const jobs::Files& files) {
  std::int16_t from[800] = {}, to[2400] = {};
  std::uint32_t made = 0;
  bool fine = AudioLinearFilter2(from, 800, 8000, to, &made, 16000, 2400, 1) != 0 && made > 0;
  HarmonyUnit unit;
  for (int i = 0; i < 800; ++i) fine = std::isfinite(unit.NRIn(unit.FstLPF(i))) && fine;
  char out[1024];
  return DividePath(out, files.source.c_str()) == 1 && DivideFileName(out, files.source.c_str()) == 1 && fine;
}

/// Does jobs one after the other, round by round.
void Rounds(int rounds, const std::vector<bool (*)(const jobs::Files&)>& all, const jobs::Files& files) {
  for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
    for (std::size_t job = 0; job < all.size(); ++job) {
      EXPECT_TRUE(all[job](files)) << "round " << round << ", job " << job << " for " << files.target;
    }
  }
}

class Everything : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.IsRunning()) << server_.Problem();
    const std::vector<std::int16_t> sound(4000, 1000);
    // The room's sound comes in blocks of two seconds, unless a player asks for less.
    setenv("PULSE_LATENCY_MSEC", "20", 1);
    test::StoreWav(File("silence.wav"), std::vector{Format(8000, 1, 8)}, test::Bytes(8000 * 3600, '\x80'), 0);
    ASSERT_TRUE(server_.Play(File("silence.wav")));
    test::StoreWav(File("source.wav"), std::vector{Format(8000, 1, 16)}, sound, 4000);
    test::Bytes broken = test::Load(File("source.wav"));
    test::SetNumber(broken, 4, 0);  // as if it had not been finished
    test::SetNumber(broken, broken.size() - 8000 - 4, 0);
    test::Store(File("broken.wav"), broken);
  }
  std::string File(const char* name) { return folder_.File(name); }

  void Do(int rounds) {
    const std::string source = File("source.wav");
    const std::string broken = File("broken.wav");
    const jobs::Files take{"", File("take.wav")}, sound{source, ""}, made{source, File("made.wav")},
        mended{broken, File("mended.wav")};
    std::jthread records([&] { Rounds(rounds, {RecordsShortly<true>, RecordsShortly<false>}, take); });
    std::jthread plays([&] { Rounds(rounds, {jobs::Play}, sound); });
    Rounds(rounds,
           {jobs::Read, jobs::Write, jobs::Convert<1>, jobs::Convert<2>,
            jobs::Mirror<WavUnit, &WavUnit::WriteMirrorBuf>,
            jobs::Mirror<MMWavUnit, &MMWavUnit::WriteMirrorSubBuf>, Refusals, Lists, Pure},
           made);
    Rounds(rounds, {jobs::Check, jobs::Repair, jobs::RepairInPlace}, mended);
  }

 private:
  TempFolder folder_;
  SoundServer server_;
};

TEST_F(Everything, LeavesNothingBehindInAThousandRounds) {
  Do(kFirst);
  const Holdings before = HoldingsNow();
  Do(kRounds);
  const Holdings after = HoldingsNow();
  std::printf(
      "held before and after: %ld and %ld C++ blocks, %zu and %zu bytes, %td and %td files, "
      "%td and %td threads\n",
      before.blocks, after.blocks, before.bytes, after.bytes, before.files, after.files, before.threads,
      after.threads);
  EXPECT_FALSE(HoldsMore(after, before));
}

}  // namespace
