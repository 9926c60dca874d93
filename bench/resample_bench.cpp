// The linear resampling filters against the portable loop, and against the nearest settings of libsamplerate,
// speexdsp, soxr and swresample where the build found them.
//
// Every case takes one second of a signal with music's slopes through one stream, in blocks of one second or
// of 64, 256 or 1024 frames; the "fresh" cases take every block at a new pair of rates. "filter" is the
// exported filter, "portable" the same stream by the portable loop. libsamplerate gets 16-bit samples through
// its own conversion, and floats. Before anything is timed the filter's output is held against the portable
// loop's. After the usual lines comes a table of each case's shortest repetition, since other work on the
// machine only adds time: nanoseconds for an output frame of the filter, and how many times slower the others
// are. One core, the repetitions of all cases mixed:
//
//   taskset -c 1 build/release/bin/resample_bench --benchmark_repetitions=9 --benchmark_min_time=0.02
//   --benchmark_enable_random_interleaving=true
#include <benchmark/benchmark.h>
#ifdef BENCH_SAMPLERATE
#include <samplerate.h>
#endif
#ifdef BENCH_SPEEXDSP
#include <speex/speex_resampler.h>
#endif
#ifdef BENCH_SOXR
#include <soxr.h>
#endif
#ifdef BENCH_SWRESAMPLE
extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "resample/AudioLinearFilter.h"
#include "resample/LinearStream.h"

namespace {

constexpr std::size_t kSpareFrames = 4096;  ///< room for what a peer may write beyond a second

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

/// The exported filter for any channel count.
template <class Sample, std::uint32_t kChannels>
struct Filter {
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

/// The same stream by the portable loop.
template <class Sample, std::uint32_t kChannels>
struct Portable {
  using Type = Sample;
  Rates rates;
  bool first = true;
  resample::LinearStream<Sample> stream = {};
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    std::uint32_t made = 0;
    stream.Process({src, frames, rates.from, out, &made, rates.to, 0, first, kChannels},
                   resample::Map::kPortable);
    first = false;
    return made;
  }
};

/// Begins a stream with every block, at rates that no block before had.
template <class Each>
struct Fresh : Each {
  std::uint32_t block = 0;
  template <class Sample>
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    this->rates = {44100 + block % 997, 48000 + block % 1009};
    this->first = 1;
    ++block;
    return Each::Move(src, frames, out);
  }
};

#ifdef BENCH_SAMPLERATE
template <class Sample, std::uint32_t kChannels>
struct SampleRate {
  using Type = Sample;
  Rates rates;
  SRC_STATE* state = src_new(SRC_LINEAR, static_cast<int>(kChannels), nullptr);
  std::vector<float> floats = std::vector<float>(std::size_t{rates.from} * kChannels);
  std::vector<float> results = std::vector<float>((rates.to + kSpareFrames) * kChannels);

  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    constexpr bool kConverts = sizeof(Sample) == 2;
    SRC_DATA data = {};
    if constexpr (kConverts) {
      src_short_to_float_array(src, floats.data(), static_cast<int>(frames * kChannels));
      data.data_in = floats.data();
      data.data_out = results.data();
    } else {
      data.data_in = src;
      data.data_out = out;
    }
    data.input_frames = static_cast<long>(frames);
    data.output_frames = static_cast<long>(rates.to + kSpareFrames);
    data.src_ratio = static_cast<double>(rates.to) / rates.from;
    src_process(state, &data);
    const auto made = static_cast<std::uint32_t>(data.output_frames_gen);
    if constexpr (kConverts)
      src_float_to_short_array(results.data(), out, static_cast<int>(made * kChannels));
    return made;
  }
};
#endif

#ifdef BENCH_SPEEXDSP
/// Quality 0.
template <class Sample, std::uint32_t kChannels>
struct Speex {
  using Type = Sample;
  Rates rates;
  SpeexResamplerState* state = speex_resampler_init(kChannels, rates.from, rates.to, 0, nullptr);
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    spx_uint32_t taken = frames;
    spx_uint32_t made = rates.to + kSpareFrames;
    speex_resampler_process_interleaved_int(state, src, &taken, out, &made);
    return made;
  }
};
#endif

#ifdef BENCH_SOXR
/// The recipe QQ: cubic interpolation.
template <class Sample, std::uint32_t kChannels>
struct Soxr {
  using Type = Sample;
  Rates rates;
  soxr_t state = Create();
  soxr_t Create() const {
    const soxr_io_spec_t samples = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_QQ, 0);
    return soxr_create(rates.from, rates.to, kChannels, nullptr, &samples, &quality, nullptr);
  }
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    std::size_t made = 0;
    soxr_process(state, src, frames, nullptr, out, rates.to + kSpareFrames, &made);
    return static_cast<std::uint32_t>(made);
  }
};
#endif

#ifdef BENCH_SWRESAMPLE
/// A filter of two taps and linear interpolation between its phases: as short as it gets.
template <class Sample, std::uint32_t kChannels>
struct Swresample {
  using Type = Sample;
  Rates rates;
  SwrContext* state = Create();
  SwrContext* Create() const {
    AVChannelLayout layout;
    av_channel_layout_default(&layout, kChannels);
    SwrContext* made = nullptr;
    swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_S16, static_cast<int>(rates.to), &layout,
                        AV_SAMPLE_FMT_S16, static_cast<int>(rates.from), 0, nullptr);
    av_opt_set_int(made, "filter_size", 2, 0);
    av_opt_set_int(made, "linear_interp", 1, 0);
    swr_init(made);
    return made;
  }
  std::uint32_t Move(const Sample* src, std::uint32_t frames, Sample* out) {
    const auto* in = reinterpret_cast<const std::uint8_t*>(src);
    auto* to = reinterpret_cast<std::uint8_t*>(out);
    return static_cast<std::uint32_t>(
        swr_convert(state, &to, static_cast<int>(rates.to + kSpareFrames), &in, static_cast<int>(frames)));
  }
};
#endif

/// One second through a peer. @return the frames written, all blocks in a row in @p out if @p keep
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

template <class Sample, std::uint32_t kChannels>
class Case {
 public:
  Case(const std::string& ratesName, Rates rates, std::uint32_t block)
      : rates_(rates),
        block_(block),
        in_(Signal<Sample, kChannels>(rates.from)),
        group_(ratesName + "/" + std::to_string(8 * sizeof(Sample)) + "x" + std::to_string(kChannels) + "/" +
               (block == rates.from ? "second" : std::to_string(block))) {}

  template <class Peer>
  void Add(const char* name, const std::vector<typename Peer::Type>& in) const {
    const auto run = [in, rates = rates_, block = block_](benchmark::State& state) {
      Peer peer{{rates}};
      std::vector<typename Peer::Type> out((rates.to + kSpareFrames) * kChannels);
      std::int64_t frames = 0;
      for (auto _ : state) {
        frames += Second(peer, in, kChannels, block, out.data(), false);
        benchmark::ClobberMemory();
      }
      state.SetItemsProcessed(frames);
    };
    benchmark::RegisterBenchmark((group_ + "/" + name).c_str(), run);
  }

  template <class Ours, class Loop>
  void AddFilters() const {
    MustAgree<Ours, Loop>();
    Add<Ours>("filter", in_);
    Add<Loop>("portable", in_);
  }

  void AddPeers() const {
#ifdef BENCH_SAMPLERATE
    Add<SampleRate<Sample, kChannels>>("samplerate", in_);
    std::vector<float> floats(in_.size());
    src_short_to_float_array(in_.data(), floats.data(), static_cast<int>(in_.size()));
    Add<SampleRate<float, kChannels>>("samplerate-float", floats);
#endif
#ifdef BENCH_SPEEXDSP
    Add<Speex<Sample, kChannels>>("speexdsp", in_);
#endif
#ifdef BENCH_SOXR
    Add<Soxr<Sample, kChannels>>("soxr", in_);
#endif
#ifdef BENCH_SWRESAMPLE
    Add<Swresample<Sample, kChannels>>("swresample", in_);
#endif
  }

 private:
  template <class Ours, class Loop>
  void MustAgree() const {
    Ours ours{{rates_}};
    Loop loop{{rates_}};
    std::vector<Sample> expected((rates_.to + kSpareFrames) * kChannels);
    std::vector<Sample> found(expected.size());
    const auto a = Second(loop, in_, kChannels, block_, expected.data(), true);
    const auto b = Second(ours, in_, kChannels, block_, found.data(), true);
    if (a == b && expected == found) return;
    std::fprintf(stderr, "%s: the output differs from the portable loop's\n", group_.c_str());
    std::exit(1);
  }

  Rates rates_;
  std::uint32_t block_;
  std::vector<Sample> in_;
  std::string group_;
};

template <class Sample, std::uint32_t kChannels>
void AddCases(Rates rates, bool fresh) {
  using Ours = Filter<Sample, kChannels>;
  using Loop = Portable<Sample, kChannels>;
  for (const std::uint32_t block : {64U, 256U, 1024U, rates.from}) {
    if (fresh) {
      if (block < rates.from) {
        Case<Sample, kChannels>("fresh", rates, block).template AddFilters<Fresh<Ours>, Fresh<Loop>>();
      }
      continue;
    }
    const std::string name = std::to_string(rates.from) + "-" + std::to_string(rates.to);
    const Case<Sample, kChannels> each(name, rates, block);
    each.template AddFilters<Ours, Loop>();
    if constexpr (sizeof(Sample) == 2) {
      if (block >= 1024) each.AddPeers();
    }
  }
}

/// Keeps the shortest times for the table of ratios.
class Table : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string name = run.run_name.function_name;
      const std::size_t slash = name.rfind('/');
      const double time = 1e9 / run.counters.at("items_per_second").value;
      double& shortest =
          perFrame_[name.substr(0, slash)].try_emplace(name.substr(slash + 1), time).first->second;
      shortest = std::min(shortest, time);
    }
  }
  void Print() const {
    for (const auto& [group, peers] : perFrame_) {
      const auto filter = peers.find("filter");
      if (filter == peers.end()) continue;
      std::printf("%-26s filter %5.2f ns", group.c_str(), filter->second);
      for (const auto& [peer, time] : peers) {
        if (peer != "filter") std::printf("  %s %.2f", peer.c_str(), time / filter->second);
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
  struct {
    Rates rates;
    bool fresh;
  } const cases[] = {{{44100, 48000}, false}, {{48000, 44100}, false}, {{22050, 44100}, false},
                     {{44100, 22050}, false}, {{44100, 44101}, false}, {{44100, 48000}, true}};
  for (const auto& [rates, fresh] : cases) {
    AddCases<std::int16_t, 1>(rates, fresh);
    AddCases<std::int16_t, 2>(rates, fresh);
    AddCases<std::uint8_t, 1>(rates, fresh);
    AddCases<std::uint8_t, 2>(rates, fresh);
    AddCases<std::uint8_t, 4>(rates, fresh);
  }
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  table.Print();
}
