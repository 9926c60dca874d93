#pragma once
/// @file
/// What a driver of the audio compression manager is: those of the layer, and those that a host or a test
/// adds with platform::RegisterConversionDriver. Both are asked in the same way.

#include <memory>

#include "platform/posix/acm.h"

namespace platform {

/// One conversion, from one format to another. The manager makes one call at a time on it.
class CMM_API ConversionStream {
 public:
  ConversionStream() = default;
  ConversionStream(const ConversionStream&) = delete;
  ConversionStream& operator=(const ConversionStream&) = delete;
  virtual ~ConversionStream() = default;

  /// Room that suffices for the output of @p sourceBytes (above 0), whatever went before.
  virtual MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) = 0;
  /// Source whose output fits into @p outputBytes (above 0).
  virtual MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) = 0;
  /// Looks at a header before its first conversion. A failure refuses it.
  virtual MMRESULT Prepare(ACMSTREAMHEADER& /*header*/) { return MMSYSERR_NOERROR; }
  /// Converts. The header is prepared, its lengths are within the buffers, and both counts are 0.
  /// @param flags ACM_STREAMCONVERTF_...
  virtual MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) = 0;
};

/// A driver. Its calls come from any thread, several at a time. It may throw std::bad_alloc and nothing else.
class CMM_API ConversionDriver {
 public:
  ConversionDriver() = default;
  ConversionDriver(const ConversionDriver&) = delete;
  ConversionDriver& operator=(const ConversionDriver&) = delete;
  virtual ~ConversionDriver() = default;

  /// ACMDRIVERDETAILS_SUPPORTF_..., as the enumeration gives them.
  virtual DWORD Support() const = 0;
  /// @param details all zero but for cbStruct, the size of the whole record
  virtual MMRESULT Details(ACMDRIVERDETAILSA& details) const = 0;
  /// @return 0 with @p stream; ACMERR_NOTPOSSIBLE: not these formats, so that the next driver is tried;
  ///         anything else ends the search
  virtual MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                        std::unique_ptr<ConversionStream>& stream) const = 0;
};

}  // namespace platform
