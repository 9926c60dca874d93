#pragma once
/// @file
/// The library's own PCM converter, for conversions that the platform's drivers refuse.

#include <cstdint>

#include "platform/export.h"

namespace cmm {

/// Adds the library's PCM converter to the drivers of this process: afterwards acmStreamOpen and
/// CMMWav::BeginConvert find it where no driver before it takes both formats. It converts PCM of 8 to 32
/// bits, floating point and extensible formats of up to 8 channels to PCM of 8 and 16 bits.
///
/// On Windows the platform decides whether the converter is asked before its own drivers or after them. The
/// converter stays until the process ends, and the library's DLL stays loaded with it. Elsewhere the converter
/// is always there, and the call changes nothing.
///
/// May be called from any thread and any number of times; only the first call that succeeds adds the
/// converter. Not from DllMain.
/// @return 1: the converter is there
/// @return 0: the platform refused it
/// @ingroup wavfile
CMM_API std::int32_t AddPcmDriver();

}  // namespace cmm
