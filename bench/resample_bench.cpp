// Speed of the resampling filters against the plain loop of their steps, and against libsamplerate's linear
// converter and speexdsp at quality 0 where the build found them.
//
// Every case takes one second of a signal with music's slopes through one stream, in blocks of one second or
// of 1024 frames. The plain loop is compiled with the library's flags, its channel count fixed; libsamplerate
// is fed floats, or 16-bit samples through its own conversion. Before anything is timed the filters' output
// is held against the plain loop's. Behind the usual lines comes a table of medians: nanoseconds for an
// output frame of the plain loop, and how many times quicker the others are. One core:
//
//   taskset -c 1 build/release/bin/resample_bench --benchmark_repetitions=9 --benchmark_min_time=0.02
#include <benchmark/benchmark.h>
#ifdef BENCH_SAMPLERATE
#include <samplerate.h>
#endif
#ifdef BENCH_SPEEXDSP
#include <speex/speex_resampler.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "resample/AudioLinearFilter.h"
#include "resample/Forms.h"
#include "resample/LinearStream.h"

namespace {

struct Rates {
  std::uint32_t from;
  std::uint32_t to;
};

template <class Sample, std::uint32_t kChannels>
std::vector<Sample> Signal(std::uint32_t rate) {
  std::mt19937 random(7);
  std::vector<Sample> samples(std::size_t{rate} * kChannels);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double t = static_cast<double>(i / kChannels) / rate + 0.1 * static_cast<double>(i % kChannels);
    const double noise = static_cast<double>(random() % 2001) / 1000.0 - 1.0;
    const double value = 0.5 * std::sin(2764.6 * t) + 0.3 * std::sin(19478.0 * t) + 0.02 * noise;
    samples[i] = static_cast<Sample>(sizeof(Sample) == 2 ? 32767 * value : 128 + 127 * value);
  }
  return samples;
}

// The peers. Each takes the next block of its stream and gives the frames it wrote.

/// The steps as they stand, with the outputs of a whole block in one loop.
template <class Sample, std::uint32_t kChannels>
struct Plain {
  using Type = Sample;
  Rates rates;
  Sample prev[kChannels] = {};
  std::uint32_t phase = 0;
  double inv = 0.0;
  bool first = true;
  std::uint32_t limit = 0;

  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    std::uint32_t written = 0;
    std::uint32_t taken = 1;
    Sample cur[kChannels];
    if (first) {
      first = false;
      std::memcpy(prev, src, sizeof(prev));
      std::memcpy(out, src, sizeof(prev));
      src += kChannels;
      out += kChannels;
      written = 1;
      taken = 2;
      phase = rates.from;
      inv = 1.0 / rates.to;
    }
    std::memcpy(cur, src, sizeof(cur));
    for (;;) {
      while (phase > rates.to) {
        phase -= rates.to;
        std::memcpy(prev, cur, sizeof(cur));
        if (taken >= frames) return written;
        src += kChannels;
        std::memcpy(cur, src, sizeof(cur));
        ++taken;
      }
      const double fraction = phase * inv;
      for (std::uint32_t c = 0; c < kChannels; ++c) {
        out[c] = static_cast<Sample>(prev[c] + static_cast<std::int32_t>((cur[c] - prev[c]) * fraction));
      }
      out += kChannels;
      ++written;
      phase += rates.from;
      if (written == limit) {
        std::memcpy(prev, cur, sizeof(cur));
        return written;
      }
    }
  }
};

/// The exported filter with a fixed channel count.
template <class Sample, std::uint32_t kChannels>
struct Fixed {
  using Type = Sample;
  Rates rates;
  std::uint8_t first = 1;
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    std::uint32_t made = 0;
    if constexpr (sizeof(Sample) == 2) {
      (kChannels == 2 ? AudioLinearFilter1 : AudioLinearFilter2)(src, frames, rates.from, out, &made,
                                                                 rates.to, 0, first);
    } else {
      (kChannels == 2 ? AudioLinearFilter3 : AudioLinearFilter4)(src, frames, rates.from, out, &made,
                                                                 rates.to, 0, first);
    }
    first = 0;
    return made;
  }
};

/// The exported filter for any channel count.
template <class Sample, std::uint32_t kChannels>
struct AnyCount {
  using Type = Sample;
  Rates rates;
  std::uint8_t first = 1;
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    std::uint32_t made = 0;
    if constexpr (sizeof(Sample) == 2) {
      AudioLinearFilter16(src, frames, rates.from, out, &made, rates.to, 0, first, kChannels);
    } else {
      AudioLinearFilter8(src, frames, rates.from, out, &made, rates.to, 0, first, kChannels);
    }
    first = 0;
    return made;
  }
};

/// One form of the vector code, whatever the processor could do.
template <class Sample, std::uint32_t kChannels, const resample::Form& kForm>
struct Formed {
  using Type = Sample;
  Rates rates;
  bool first = true;
  std::unique_ptr<resample::LinearStream<Sample>> stream = std::make_unique<resample::LinearStream<Sample>>();
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    std::uint32_t made = 0;
    stream->Process({src, frames, rates.from, out, &made, rates.to, 0, first, kChannels}, kForm);
    first = false;
    return made;
  }
};

#ifdef BENCH_SAMPLERATE
template <class Sample, std::uint32_t kChannels>
struct SampleRate {
  using Type = Sample;
  Rates rates;
  SRC_STATE* state = src_new(SRC_LINEAR, static_cast<int>(kChannels), nullptr);
  std::vector<float> floats = std::vector<float>(std::size_t{rates.from} * kChannels);
  std::vector<float> results = std::vector<float>((std::size_t{rates.to} + 64) * kChannels);

  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    constexpr bool kConverts = sizeof(Sample) == 2;
    const float* in = nullptr;
    if constexpr (kConverts) {
      src_short_to_float_array(src, floats.data(), static_cast<int>(frames * kChannels));
      in = floats.data();
    } else {
      in = src;
    }
    SRC_DATA data = {};
    data.data_in = in;
    data.input_frames = static_cast<long>(frames);
    data.output_frames = static_cast<long>(rates.to + 64);
    data.src_ratio = static_cast<double>(rates.to) / rates.from;
    if constexpr (kConverts) {
      data.data_out = results.data();
    } else {
      data.data_out = out;
    }
    src_process(state, &data);
    const auto made = static_cast<std::uint32_t>(data.output_frames_gen);
    if constexpr (kConverts)
      src_float_to_short_array(results.data(), out, static_cast<int>(made * kChannels));
    return made;
  }
};
#endif

#ifdef BENCH_SPEEXDSP
template <class Sample, std::uint32_t kChannels>
struct Speex {
  using Type = Sample;
  Rates rates;
  SpeexResamplerState* state = speex_resampler_init(kChannels, rates.from, rates.to, 0, nullptr);
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    spx_uint32_t taken = frames;
    spx_uint32_t made = rates.to + 64;
    speex_resampler_process_interleaved_int(state, src, &taken, out, &made);
    return made;
  }
};
#endif

/// One second through a peer. @return the frames written, one block's behind the other's in out
template <class Peer, class Sample>
std::uint32_t Second(Peer& peer, const std::vector<Sample>& in, std::uint32_t channels, std::uint32_t block,
                     Sample* out, bool keep) {
  const auto frames = static_cast<std::uint32_t>(in.size() / channels);
  std::uint32_t made = 0;
  for (std::uint32_t at = 0; at < frames; at += block) {
    Sample* const to = keep ? out + std::size_t{made} * channels : out;
    made += peer.Move(in.data() + std::size_t{at} * channels, std::min(block, frames - at), to);
  }
  return made;
}

template <class Peer>
void Add(const std::string& group, const char* name, Rates rates, std::uint32_t channels, std::uint32_t block,
         const std::vector<typename Peer::Type>& in) {
  using Sample = typename Peer::Type;
  benchmark::RegisterBenchmark((group + "/" + name).c_str(), [=](benchmark::State& state) {
    Peer peer{rates};
    std::vector<Sample> out((std::size_t{rates.to} + 64) * channels);
    std::int64_t frames = 0;
    for (auto _ : state) {
      frames += Second(peer, in, channels, block, out.data(), false);
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(frames);
  });
}

template <class Peer, class Sample, std::uint32_t kChannels>
void MustEqualPlain(Rates rates, std::uint32_t block, const std::vector<Sample>& in) {
  Plain<Sample, kChannels> plain{rates};
  Peer peer{rates};
  std::vector<Sample> expected((std::size_t{rates.to} + 64) * kChannels);
  std::vector<Sample> found(expected.size());
  const auto a = Second(plain, in, kChannels, rates.from, expected.data(), true);
  const auto b = Second(peer, in, kChannels, block, found.data(), true);
  if (a == b && expected == found) return;
  std::fprintf(stderr, "%u to %u Hz: the output differs from the plain loop's\n", rates.from, rates.to);
  std::exit(1);
}

template <class Sample, std::uint32_t kChannels>
void AddCase(Rates rates, std::uint32_t block, const std::string& blockName) {
  const auto in = Signal<Sample, kChannels>(rates.from);
  const std::string group = std::to_string(rates.from) + "-" + std::to_string(rates.to) + "/" +
                            std::to_string(8 * sizeof(Sample)) + "x" + std::to_string(kChannels) + "/" +
                            blockName;
  const auto add = [&]<class Peer>(const char* name, Peer*) {
    Add<Peer>(group, name, rates, kChannels, block, in);
  };
  const auto addExact = [&]<class Peer>(const char* name, Peer* none) {
    MustEqualPlain<Peer, Sample, kChannels>(rates, block, in);
    add(name, none);
  };
  add("plain", static_cast<Plain<Sample, kChannels>*>(nullptr));
  addExact("fixed", static_cast<Fixed<Sample, kChannels>*>(nullptr));
  addExact("any", static_cast<AnyCount<Sample, kChannels>*>(nullptr));
#if CMM_X86_FORMS
  addExact("sse2", static_cast<Formed<Sample, kChannels, resample::kSse2Form>*>(nullptr));
#endif
  addExact("portable", static_cast<Formed<Sample, kChannels, resample::kPortableForm>*>(nullptr));
  if constexpr (sizeof(Sample) == 2) {
#ifdef BENCH_SAMPLERATE
    add("samplerate", static_cast<SampleRate<Sample, kChannels>*>(nullptr));
    const auto floats = [&] {
      std::vector<float> result(in.size());
      src_short_to_float_array(in.data(), result.data(), static_cast<int>(in.size()));
      return result;
    }();
    Add<SampleRate<float, kChannels>>(group, "samplerate-float", rates, kChannels, block, floats);
#endif
#ifdef BENCH_SPEEXDSP
    add("speexdsp", static_cast<Speex<Sample, kChannels>*>(nullptr));
#endif
  }
}

/// Keeps the medians for the table of ratios.
class Table : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.aggregate_name != "median") continue;
      const std::string name = run.run_name.function_name;
      const std::size_t slash = name.rfind('/');
      perFrame_[name.substr(0, slash)][name.substr(slash + 1)] =
          1e9 / run.counters.at("items_per_second").value;
    }
  }
  void Print() const {
    for (const auto& [group, peers] : perFrame_) {
      const auto plain = peers.find("plain");
      if (plain == peers.end()) continue;
      std::printf("%-26s plain %5.2f ns", group.c_str(), plain->second);
      for (const auto& [peer, time] : peers) {
        if (peer != "plain") std::printf("  %s %.2f", peer.c_str(), plain->second / time);
      }
      std::printf("\n");
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> perFrame_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const Rates rates :
       {Rates{44100, 48000}, {48000, 44100}, {44100, 22050}, {22050, 44100}, {44100, 44101}}) {
    for (const bool second : {true, false}) {
      const std::uint32_t block = second ? rates.from : 1024;
      const std::string name = second ? "second" : "1024";
      AddCase<std::int16_t, 1>(rates, block, name);
      AddCase<std::int16_t, 2>(rates, block, name);
      AddCase<std::uint8_t, 1>(rates, block, name);
      AddCase<std::uint8_t, 2>(rates, block, name);
    }
  }
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  table.Print();
}
