#include <soxr.h>

#include "tools/high_quality.h"
#include "tools/tool.h"

namespace {

struct Delete {
  void operator()(soxr_t resampler) const { soxr_delete(resampler); }
};

}  // namespace

struct HighQualityRate::State {
  std::unique_ptr<soxr, Delete> resampler;
  double ratio;
  std::size_t channels;
};

HighQualityRate::HighQualityRate(std::uint32_t from, std::uint32_t to, std::uint16_t channels)
    : state_(new State{nullptr, static_cast<double>(to) / from, channels}) {
  soxr_error_t error = nullptr;
  soxr_io_spec_t samples = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
  samples.flags = SOXR_NO_DITHER;  // so that each run gives the same bytes
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  state_->resampler.reset(soxr_create(from, to, channels, &error, &samples, &quality, nullptr));
  if (error != nullptr) throw Failure(std::string("libsoxr: ") + error);
}

HighQualityRate::~HighQualityRate() = default;

void HighQualityRate::Convert(const std::int16_t* frames, std::size_t count,
                              std::vector<std::int16_t>& output) {
  constexpr std::size_t kMore = 4096;  // frames
  output.clear();
  const auto room = static_cast<std::size_t>(static_cast<double>(count) * state_->ratio) + kMore;
  for (std::size_t made = room; made == room;) {
    const std::size_t before = output.size();
    output.resize(before + room * state_->channels);
    const soxr_error_t error = soxr_process(state_->resampler.get(), count > 0 ? frames : nullptr, count,
                                            nullptr, output.data() + before, room, &made);
    if (error != nullptr) throw Failure(std::string("libsoxr: ") + error);
    output.resize(before + made * state_->channels);
    if (count > 0) return;  // it takes all of a block
  }
}
