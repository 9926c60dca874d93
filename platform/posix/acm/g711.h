#pragma once
// What the two laws of G.711 have in common: one byte for each sample, with the rate and channels of the PCM.

#include "platform/pcm/g711_laws.h"
#include "platform/pcm/sizes.h"
#include "platform/posix/acm/builtin_driver.h"
#include "platform/posix/acm/formats.h"

namespace platform::detail {

/// To PCM, where @p kDecodes is true, or from it.
template <class Law, class Pcm, bool kDecodes>
class G711Stream final : public ConversionStream {
 public:
  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    return ComputeSize(DivideUp(sourceBytes, kSourceBytes), kOutputBytes, outputBytes);
  }
  MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) override {
    return ComputeSize(outputBytes / kOutputBytes, kSourceBytes, sourceBytes);
  }
  explicit G711Stream(std::size_t channels) : channels_(channels) {}

  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD /*flags*/) override {
    const std::size_t given = header.cbSrcLength / kSourceBytes;
    const std::size_t room = header.cbDstLength / kOutputBytes;
    const std::size_t most = given < room ? given : room;
    const std::size_t count = most - most % channels_;  // whole frames
    for (std::size_t i = 0; i < count; ++i)
      ConvertSample(header.pbSrc + i * kSourceBytes, header.pbDst + i * kOutputBytes);
    header.cbSrcLengthUsed = static_cast<DWORD>(count * kSourceBytes);
    header.cbDstLengthUsed = static_cast<DWORD>(count * kOutputBytes);
    return MMSYSERR_NOERROR;
  }

 private:
  static constexpr std::size_t kSourceBytes = kDecodes ? 1 : sizeof(Pcm);
  static constexpr std::size_t kOutputBytes = kDecodes ? sizeof(Pcm) : 1;

  static void ConvertSample(const BYTE* from, BYTE* to) {
    static constexpr G711Values kValues = MakeG711Values<Law>();
    if constexpr (kDecodes) {
      StorePcm<Pcm>(to, kValues[*from]);
    } else {
      *to = Law::Encode(LoadPcm<Pcm>(from));
    }
  }

  const std::size_t channels_;
};

template <class Law>
class G711Driver final : public BuiltInDriver {
 public:
  explicit G711Driver(const char* name)
      : BuiltInDriver({ACMDRIVERDETAILS_SUPPORTF_CODEC, 2, name, name,
                       "ITU-T G.711: telephone audio, one byte a sample."}) {}

  MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                std::unique_ptr<ConversionStream>& stream) const override {
    if (!SameRateAndChannels(source, destination)) return ACMERR_NOTPOSSIBLE;
    if (IsOfLaw(source) && IsPcm(destination)) {
      stream = Make<true>(destination);
    } else if (IsPcm(source) && IsOfLaw(destination)) {
      stream = Make<false>(source);
    } else {
      return ACMERR_NOTPOSSIBLE;
    }
    return MMSYSERR_NOERROR;
  }

 private:
  static bool IsOfLaw(const WAVEFORMATEX& format) {
    return format.wFormatTag == Law::kTag && format.wBitsPerSample == 8 &&
           format.nBlockAlign == format.nChannels &&
           format.nAvgBytesPerSec == std::uint64_t{format.nSamplesPerSec} * format.nBlockAlign;
  }

  template <bool kDecodes>
  static std::unique_ptr<ConversionStream> Make(const WAVEFORMATEX& pcm) {
    if (pcm.wBitsPerSample == 8)
      return std::make_unique<G711Stream<Law, std::uint8_t, kDecodes>>(pcm.nChannels);
    return std::make_unique<G711Stream<Law, std::int16_t, kDecodes>>(pcm.nChannels);
  }
};

}  // namespace platform::detail
