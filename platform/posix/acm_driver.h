#pragma once
/// @file
/// The interface of a driver of the audio compression manager, for the layer's own drivers and for those that
/// a host or a test adds with platform::RegisterConversionDriver. The manager calls both in the same way.
/// Sizes are in bytes.

#include <memory>

#include "platform/posix/acm.h"

namespace platform {

/// One conversion, from one format to another. The manager makes one call at a time on it, from any thread.
/// Only Prepare may throw, and only std::bad_alloc. Every call returns 0 or the failure that the manager's
/// call shall return.
class CMM_API ConversionStream {
 public:
  ConversionStream() = default;
  ConversionStream(const ConversionStream&) = delete;
  ConversionStream& operator=(const ConversionStream&) = delete;
  virtual ~ConversionStream() = default;

  /// Computes the room that suffices for the output of @p sourceBytes (above 0), whatever came before.
  virtual MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) = 0;
  /// Computes how much source has output that fits into @p outputBytes (above 0).
  virtual MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) = 0;
  /// Called with a header before its first conversion. A failure refuses the header.
  virtual MMRESULT Prepare(ACMSTREAMHEADER& /*header*/) { return MMSYSERR_NOERROR; }
  /// Converts, and sets both counts of the header, which are 0 before. The header is prepared, and its
  /// lengths are within the buffers.
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

  /// @return ACMDRIVERDETAILS_SUPPORTF_..., as acmDriverEnum gives them
  virtual DWORD Support() const = 0;
  /// Fills in what acmDriverDetailsA gives.
  /// @param details all zero but for cbStruct, the size of the complete structure
  /// @return 0, or the failure that acmDriverDetailsA shall return
  virtual MMRESULT Details(ACMDRIVERDETAILSA& details) const = 0;
  /// Opens a conversion.
  /// @param stream receives it
  /// @return 0: opened
  /// @return ACMERR_NOTPOSSIBLE: not these formats; the next driver is tried
  /// @return another failure: it ends the search, and acmStreamOpen returns it
  virtual MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                        std::unique_ptr<ConversionStream>& stream) const = 0;
};

}  // namespace platform
