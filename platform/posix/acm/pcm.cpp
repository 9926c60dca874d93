// The driver of the PCM converter. What it converts and how is told in platform/pcm/pcm_converter.h.

#include "platform/pcm/pcm_converter.h"
#include "platform/pcm/pcm_driver.h"
#include "platform/posix/acm/builtin_driver.h"

namespace platform::detail {
namespace {

class PcmStream final : public ConversionStream {
 public:
  explicit PcmStream(std::unique_ptr<PcmConverter> converter) : converter_(std::move(converter)) {}

  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    return converter_->OutputSize(sourceBytes, outputBytes);
  }
  MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) override {
    return converter_->SourceSize(outputBytes, sourceBytes);
  }

  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) override {
    if (flags & ACM_STREAMCONVERTF_START) converter_->Restart();
    const auto counts =
        converter_->Convert(header.pbSrc, header.cbSrcLength, header.pbDst, header.cbDstLength);
    header.cbSrcLengthUsed = static_cast<DWORD>(counts.taken);
    header.cbDstLengthUsed = static_cast<DWORD>(counts.made);
    return MMSYSERR_NOERROR;
  }

 private:
  const std::unique_ptr<PcmConverter> converter_;
};

class PcmDriver final : public BuiltInDriver {
 public:
  PcmDriver()
      : BuiltInDriver({ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_CONVERTER, 3, "PCM",
                       "PCM converter", "Sample rate, channels and bits of PCM and floating-point audio."}) {}

  MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                std::unique_ptr<ConversionStream>& stream) const override {
    auto converter = PcmConverter::Open(source, destination);
    if (!converter) return ACMERR_NOTPOSSIBLE;
    stream = std::make_unique<PcmStream>(std::move(converter));
    return MMSYSERR_NOERROR;
  }
};

}  // namespace

std::shared_ptr<const ConversionDriver> MakePcmDriver() {
  return std::make_shared<PcmDriver>();
}

bool AddPcmDriver() {
  return true;  // it is always there
}

}  // namespace platform::detail
