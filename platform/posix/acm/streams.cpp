// Streams: the host's calls are checked here and passed to the driver's conversion.

#include <algorithm>
#include <mutex>
#include <new>
#include <vector>

#include "platform/posix/acm/drivers.h"
#include "platform/posix/sync.h"

namespace platform::detail {
namespace {

/// The object of a HACMSTREAM.
class Stream final : public ManagerObject {
 public:
  /// @param named the driver that the host has named; may be null
  Stream(HACMDRIVERID id, std::shared_ptr<const ConversionDriver> driver,
         std::unique_ptr<ConversionStream> conversion, std::shared_ptr<OpenDriver> named)
      : ManagerObject(id),
        driver_(std::move(driver)),
        named_(std::move(named)),
        conversion_(std::move(conversion)) {
    if (named_) ++named_->streams;
  }
  ~Stream() override {
    if (named_) --named_->streams;
  }

  MMRESULT Size(DWORD input, DWORD& output, DWORD flags) {
    const std::lock_guard lock(lock_);
    return flags == ACM_STREAMSIZEF_SOURCE ? conversion_->OutputSize(input, output)
                                           : conversion_->SourceSize(input, output);
  }

  MMRESULT Prepare(ACMSTREAMHEADER& header) {
    const std::lock_guard lock(lock_);
    auto known = Find(header);
    if (known != prepared_.end() && (header.fdwStatus & ACMSTREAMHEADER_STATUSF_PREPARED))
      return MMSYSERR_NOERROR;
    if (!header.pbSrc || header.cbSrcLength == 0 || !header.pbDst || header.cbDstLength == 0)
      return MMSYSERR_INVALPARAM;
    const MMRESULT result = conversion_->Prepare(header);
    if (result != MMSYSERR_NOERROR) return result;
    if (known == prepared_.end()) known = prepared_.emplace(known);
    *known = {&header, header.pbSrc, header.cbSrcLength, header.pbDst, header.cbDstLength};
    header.fdwStatus |= ACMSTREAMHEADER_STATUSF_PREPARED;
    return MMSYSERR_NOERROR;
  }

  MMRESULT Unprepare(ACMSTREAMHEADER& header) {
    const std::lock_guard lock(lock_);
    const auto known = Find(header);
    if (known == prepared_.end()) return ACMERR_UNPREPARED;
    if (!known->Fits(header) || header.cbSrcLength != known->sourceBytes ||
        header.cbDstLength != known->outputBytes)
      return MMSYSERR_INVALPARAM;
    prepared_.erase(known);
    header.fdwStatus &= ~ACMSTREAMHEADER_STATUSF_PREPARED;
    return MMSYSERR_NOERROR;
  }

  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) {
    const std::lock_guard lock(lock_);
    const auto known = Find(header);
    if (known == prepared_.end()) return ACMERR_UNPREPARED;
    if (!known->Fits(header)) return MMSYSERR_INVALPARAM;
    header.cbSrcLengthUsed = 0;
    header.cbDstLengthUsed = 0;
    header.fdwStatus &= ~ACMSTREAMHEADER_STATUSF_DONE;
    const MMRESULT result = conversion_->Convert(header, flags);
    if (result == MMSYSERR_NOERROR) header.fdwStatus |= ACMSTREAMHEADER_STATUSF_DONE;
    return result;
  }

 private:
  /// A header as it was prepared. Kept here, where the host cannot change it.
  struct Prepared {
    const ACMSTREAMHEADER* header;
    const BYTE* source;
    DWORD sourceBytes;
    const BYTE* output;
    DWORD outputBytes;

    bool Fits(const ACMSTREAMHEADER& now) const {
      return now.pbSrc == source && now.cbSrcLength <= sourceBytes && now.pbDst == output &&
             now.cbDstLength <= outputBytes;
    }
  };

  std::vector<Prepared>::iterator Find(const ACMSTREAMHEADER& header) {
    return std::find_if(prepared_.begin(), prepared_.end(),
                        [&](const Prepared& prepared) { return prepared.header == &header; });
  }

  const std::shared_ptr<const ConversionDriver> driver_;  // exists as long as its stream
  const std::shared_ptr<OpenDriver> named_;
  std::mutex lock_;
  const std::unique_ptr<ConversionStream> conversion_;
  std::vector<Prepared> prepared_;
};

struct Opened {
  InstalledDriver installed;
  std::unique_ptr<ConversionStream> conversion;
};

/// Opens a conversion with the first of the drivers that takes both formats.
MMRESULT OpenFirst(const std::vector<InstalledDriver>& drivers, const WAVEFORMATEX& source,
                   const WAVEFORMATEX& destination, Opened& opened) {
  for (const InstalledDriver& installed : drivers) {
    if (IsDisabled(*installed.driver)) continue;
    const MMRESULT result = installed.driver->Open(source, destination, opened.conversion);
    if (result == ACMERR_NOTPOSSIBLE) continue;
    opened.installed = installed;
    return result;
  }
  return ACMERR_NOTPOSSIBLE;
}

MMRESULT CheckHeaderCall(const std::shared_ptr<Stream>& stream, const ACMSTREAMHEADER* header, DWORD flags,
                         DWORD allowed) {
  if (!stream) return MMSYSERR_INVALHANDLE;
  if (!header || header->cbStruct < sizeof *header) return MMSYSERR_INVALPARAM;
  return flags & ~allowed ? MMSYSERR_INVALFLAG : MMSYSERR_NOERROR;
}

}  // namespace
}  // namespace platform::detail

using namespace platform::detail;

MMRESULT acmStreamOpen(LPHACMSTREAM stream, HACMDRIVER driver, LPWAVEFORMATEX source,
                       LPWAVEFORMATEX destination, LPWAVEFILTER filter, DWORD_PTR callback,
                       DWORD_PTR /*instance*/, DWORD flags) try {
  constexpr DWORD kKnown = ACM_STREAMOPENF_QUERY | ACM_STREAMOPENF_ASYNC | ACM_STREAMOPENF_NONREALTIME;
  const bool query = (flags & ACM_STREAMOPENF_QUERY) != 0;
  if (!query && !stream) return MMSYSERR_INVALPARAM;
  if (stream) *stream = nullptr;
  if (!source || !destination) return MMSYSERR_INVALPARAM;
  if (flags & ~kKnown) return MMSYSERR_INVALFLAG;
  if ((flags & ACM_STREAMOPENF_ASYNC) || callback != 0) return MMSYSERR_NOTSUPPORTED;
  if (filter) return ACMERR_NOTPOSSIBLE;

  const auto named = FindObject<OpenDriver>(driver);
  if (driver && !named) return MMSYSERR_INVALHANDLE;
  Opened opened;
  const auto drivers = named ? std::vector{named->Installed()} : InstalledDrivers();
  const MMRESULT result = OpenFirst(drivers, *source, *destination, opened);
  if (result != MMSYSERR_NOERROR || query) return result;
  *stream = static_cast<HACMSTREAM>(OpenHandle(std::make_shared<Stream>(
      opened.installed.id, opened.installed.driver, std::move(opened.conversion), named)));
  return *stream ? MMSYSERR_NOERROR : MMSYSERR_NOMEM;
} catch (const std::bad_alloc&) {
  return MMSYSERR_NOMEM;
}

MMRESULT acmStreamClose(HACMSTREAM handle, DWORD flags) {
  if (!FindObject<Stream>(handle)) return MMSYSERR_INVALHANDLE;
  if (flags != 0) return MMSYSERR_INVALFLAG;
  return CloseHandle(handle) ? MMSYSERR_NOERROR : MMSYSERR_INVALHANDLE;
}

MMRESULT acmStreamSize(HACMSTREAM handle, DWORD inputBytes, LPDWORD outputBytes, DWORD flags) {
  const auto stream = FindObject<Stream>(handle);
  if (!stream) return MMSYSERR_INVALHANDLE;
  if (!outputBytes) return MMSYSERR_INVALPARAM;
  *outputBytes = 0;
  if (inputBytes == 0) return MMSYSERR_INVALPARAM;
  if (flags & ~ACM_STREAMSIZEF_DESTINATION) return MMSYSERR_INVALFLAG;
  return stream->Size(inputBytes, *outputBytes, flags);
}

MMRESULT acmStreamPrepareHeader(HACMSTREAM handle, LPACMSTREAMHEADER header, DWORD flags) try {
  const auto stream = FindObject<Stream>(handle);
  const MMRESULT check = CheckHeaderCall(stream, header, flags, 0);
  return check != MMSYSERR_NOERROR ? check : stream->Prepare(*header);
} catch (const std::bad_alloc&) {
  return MMSYSERR_NOMEM;
}

MMRESULT acmStreamUnprepareHeader(HACMSTREAM handle, LPACMSTREAMHEADER header, DWORD flags) {
  const auto stream = FindObject<Stream>(handle);
  const MMRESULT check = CheckHeaderCall(stream, header, flags, 0);
  return check != MMSYSERR_NOERROR ? check : stream->Unprepare(*header);
}

MMRESULT acmStreamConvert(HACMSTREAM handle, LPACMSTREAMHEADER header, DWORD flags) {
  constexpr DWORD kKnown = ACM_STREAMCONVERTF_BLOCKALIGN | ACM_STREAMCONVERTF_START | ACM_STREAMCONVERTF_END;
  const auto stream = FindObject<Stream>(handle);
  const MMRESULT check = CheckHeaderCall(stream, header, flags, kKnown);
  return check != MMSYSERR_NOERROR ? check : stream->Convert(*header, flags);
}
