// The time of a sample in each stage of HarmonyUnit, through its exported calls, over one second of a
// synthetic voice, or of the output of the stages before.
//
// For each stage there is also "plain", its formulas compiled into this program, on the same fields without
// the call: the least time for the arithmetic; and "quiet", the stage after ten seconds of silence, with
// subnormal states. "multiply_add" is one multiplication and one addition that wait for each other; the table
// after the usual lines is in multiples of it. "tracker" is LVS, VPF and PitchExt; beside it aubio's pitch
// trackers, where the build found them, over the same voice in blocks of 2048 with hops of 256 (its own
// default) and 512. One core:
//
//   taskset -c 1 build/release/bin/harmony_bench --benchmark_repetitions=5 --benchmark_min_time=0.02
#include <benchmark/benchmark.h>
#ifdef BENCH_AUBIO
#include <aubio/aubio.h>
#endif

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "harmony/HarmonyUnit.h"
#include "tests/harmony/Plain.h"

namespace {

constexpr std::size_t kSecond = 44100;

/// One second of everything that goes into the stages.
struct Signals {
  std::vector<double> voice = std::vector<double>(kSecond);
  std::vector<std::int32_t> line;
  std::vector<double> level, pulse, delay1, delay2, delay3;
  double pitch = 0.0;
};

/// From the third second on, so that the stages before have settled.
Signals MakeSignals() {
  Signals s;
  const auto voice = plain::Voice(3 * kSecond);
  HarmonyUnit unit;
  for (std::size_t i = 0; i < voice.size(); ++i) {
    const double level = unit.LVS(voice[i]), pulse = unit.VPF(voice[i]);
    unit.PitchExt(pulse, level);
    double d1, d2, d3;
    unit.LF0adr(&d1, &d2, &d3, 0.25, -0.2, 0.5);
    if (i < 2 * kSecond) continue;
    s.voice[i - 2 * kSecond] = voice[i];
    s.line.push_back(static_cast<std::int32_t>(voice[i]));
    s.level.push_back(level);
    s.pulse.push_back(pulse);
    s.delay1.push_back(d1);
    s.delay2.push_back(d2);
    s.delay3.push_back(d3);
  }
  s.pitch = unit.pitchValue;
  return s;
}

const Signals& Sound() {
  static const Signals signals = MakeSignals();
  return signals;
}

/// Silence as the stages have it: no input, while the delay line may still hold something.
const Signals& Silence() {
  static const Signals signals = [] {
    Signals s = Sound();
    s.voice.assign(kSecond, 0.0);
    s.pulse.assign(kSecond, 0.0);
    return s;
  }();
  return signals;
}

// Each stage with what it takes from the signals at one sample.

struct FstLPF {
  static double Call(auto& unit, const Signals& s, std::size_t i) { return unit.FstLPF(s.voice[i]); }
};
struct LVS {
  static double Call(auto& unit, const Signals& s, std::size_t i) { return unit.LVS(s.voice[i]); }
};
struct CPRS {
  static double Call(auto& unit, const Signals& s, std::size_t i) { return unit.CPRS(s.level[i]); }
};
struct HgainUnit {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    const double target = s.voice[i] == 0.0 ? 0.0 : s.level[i];
    unit.HgainUnit(target, 0.5 * target, target);
    return 0.0;
  }
};
struct VPF {
  static double Call(auto& unit, const Signals& s, std::size_t i) { return unit.VPF(s.voice[i]); }
};
struct PitchExt {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    unit.PitchExt(s.pulse[i], s.level[i]);
    return unit.pitchValue;
  }
};
struct LF0adr {
  static double Call(auto& unit, const Signals&, std::size_t) {
    double d1, d2, d3;
    unit.LF0adr(&d1, &d2, &d3, 0.25, -0.2, 0.5);
    return d1 + d2 + d3;
  }
};
struct MDLY {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    return unit.MDLY(s.line.data(), &s.delay1[i], &s.delay2[i], &s.delay3[i]);
  }
};
struct MDLYRing {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    return unit.MDLY(s.line.data(), static_cast<std::int32_t>(i % 1024), &s.delay1[i], &s.delay2[i],
                     &s.delay3[i]);
  }
};
struct NR {
  static double Call(auto& unit, const Signals& s, std::size_t i) { return unit.NR(s.voice[i]); }
};
struct NRIn {
  static double Call(auto& unit, const Signals& s, std::size_t i) { return unit.NRIn(s.voice[i]); }
};
struct NRInHertz {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    return unit.NRIn(s.voice[i], 800.0 + static_cast<double>(i & 255), 200.0 + static_cast<double>(i & 63));
  }
};
struct NRAuto {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    return unit.NRAuto(s.voice[i], 0.0, 700.0, 1200.0 + static_cast<double>(i & 127));
  }
};
/// What finds the pitch.
struct Tracker {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    const double level = unit.LVS(s.voice[i]);
    unit.PitchExt(unit.VPF(s.voice[i]), level);
    return unit.pitchValue;
  }
};
/// Every stage once, each on what the one before gives.
struct Chain {
  static double Call(auto& unit, const Signals& s, std::size_t i) {
    const double in = unit.NRIn(s.voice[i]);
    const double smooth = unit.FstLPF(in);
    const double level = unit.LVS(in);
    const double gain = unit.CPRS(level);
    unit.PitchExt(unit.VPF(smooth), level);
    double d1, d2, d3;
    unit.LF0adr(&d1, &d2, &d3, 0.25, -0.2, 0.5);
    unit.HgainUnit(gain, gain, gain);
    return unit.NR(unit.MDLY(s.line.data(), static_cast<std::int32_t>(i % 1024), &d1, &d2, &d3));
  }
};

template <class Stage, class Unit>
void Over(Unit& unit, const Signals& signals) {
  for (std::size_t i = 0; i < kSecond; ++i) benchmark::DoNotOptimize(Stage::Call(unit, signals, i));
}

template <class Stage>
void PlaySound(HarmonyUnit& unit) {
  unit.pitchValue = Sound().pitch;
  unit.HgainUnit(1.0, 1.0, 1.0);
  Over<Stage>(unit, Sound());
}

template <class Stage>
void Exported(benchmark::State& state) {
  HarmonyUnit unit;
  PlaySound<Stage>(unit);
  for (auto _ : state) Over<Stage>(unit, Sound());
  state.SetItemsProcessed(state.iterations() * std::int64_t{kSecond});
}

template <class Stage>
void Quiet(benchmark::State& state) {
  HarmonyUnit unit;
  PlaySound<Stage>(unit);
  for (int second = 0; second < 10; ++second) {
    unit.HgainUnit(0.0, 0.0, 0.0);
    Over<Stage>(unit, Silence());
  }
  if (std::is_same_v<Stage, MDLY> || std::is_same_v<Stage, MDLYRing>) {
    for (std::size_t i = 0; i < kSecond; ++i) unit.HgainUnit(0.0, 0.0, 0.0);
  }
  for (auto _ : state) Over<Stage>(unit, Silence());
  state.SetItemsProcessed(state.iterations() * std::int64_t{kSecond});
}

template <class Stage>
void Limit(benchmark::State& state) {
  plain::Unit unit;
  PlaySound<Stage>(unit);
  const Signals& sound = Sound();
  for (auto _ : state) {
    plain::Unit local;  // never leaves this function, so its state may live in registers
    static_cast<HarmonyUnit&>(local) = unit;
    Over<Stage>(local, sound);
    static_cast<HarmonyUnit&>(unit) = local;
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{kSecond});
}

void MultiplyAdd(benchmark::State& state) {
  double x = 1.0, a = 0.9935, b = 0.001;
  benchmark::DoNotOptimize(a);
  benchmark::DoNotOptimize(b);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kSecond; ++i) x = x * a + b;
    benchmark::DoNotOptimize(x);
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{kSecond});
}

#ifdef BENCH_AUBIO
void Aubio(benchmark::State& state, const char* method, uint_t hop) {
  constexpr uint_t kBlock = 2048;
  aubio_pitch_t* pitch = new_aubio_pitch(method, kBlock, hop, kSecond);
  fvec_t* in = new_fvec(hop);
  fvec_t* out = new_fvec(1);
  const auto& voice = Sound().voice;
  std::vector<smpl_t> samples(voice.size());
  for (std::size_t i = 0; i < voice.size(); ++i) samples[i] = static_cast<smpl_t>(voice[i] * 0x1p-31);
  std::int64_t done = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i + hop <= samples.size(); i += hop, done += hop) {
      std::memcpy(in->data, &samples[i], hop * sizeof(smpl_t));
      aubio_pitch_do(pitch, in, out);
      benchmark::DoNotOptimize(out->data[0]);
    }
  }
  state.SetItemsProcessed(done);
  del_fvec(out);
  del_fvec(in);
  del_aubio_pitch(pitch);
}
#endif

/// Keeps the medians for the table in multiples of a dependent multiply-and-add.
class Table : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.aggregate_name != "median") continue;
      const std::string& name = run.run_name.function_name;
      const std::size_t slash = name.rfind('/');
      perSample_[name.substr(0, slash)][name.substr(slash + 1)] =
          1e9 / run.counters.at("items_per_second").value;
    }
  }
  void Print() {
    const double unit = perSample_["multiply_add"]["chain"];
    if (unit == 0.0) return;
    std::printf("\nmultiples of one dependent multiply-and-add (%.2f ns), per sample\n", unit);
    for (const auto& [stage, forms] : perSample_) {
      std::printf("%-14s", stage.c_str());
      for (const auto& [form, time] : forms) std::printf("  %s %7.2f", form.c_str(), time / unit);
      std::printf("\n");
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> perSample_;
};

template <class Stage>
void Add(const std::string& name) {
  benchmark::RegisterBenchmark((name + "/exported").c_str(), Exported<Stage>);
  benchmark::RegisterBenchmark((name + "/plain").c_str(), Limit<Stage>);
  benchmark::RegisterBenchmark((name + "/quiet").c_str(), Quiet<Stage>);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RegisterBenchmark("multiply_add/chain", MultiplyAdd);
  Add<FstLPF>("FstLPF");
  Add<LVS>("LVS");
  Add<CPRS>("CPRS");
  Add<HgainUnit>("HgainUnit");
  Add<VPF>("VPF");
  Add<PitchExt>("PitchExt");
  Add<LF0adr>("LF0adr");
  Add<MDLY>("MDLY");
  Add<MDLYRing>("MDLY_ring");
  Add<NR>("NR");
  Add<NRIn>("NRIn");
  Add<NRInHertz>("NRIn_hertz");
  Add<NRAuto>("NRAuto");
  Add<Tracker>("tracker");
  Add<Chain>("every_stage");
#ifdef BENCH_AUBIO
  for (const char* method : {"schmitt", "fcomb", "mcomb", "yin", "yinfft", "yinfast", "specacf"}) {
    for (const uint_t hop : {256u, 512u}) {
      const std::string name = "aubio_" + std::to_string(hop) + "/" + method;
      benchmark::RegisterBenchmark(name.c_str(), Aubio, method, hop);
    }
  }
#endif
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  table.Print();
}
