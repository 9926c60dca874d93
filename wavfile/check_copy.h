#pragma once
// A repaired copy: the chunks of the map, put together anew.

#include "wavfile/check_findings.h"
#include "wavfile/check_format.h"

namespace cmm::check {

/// @param given the caller's format, for a copy that gets a new "fmt " chunk
/// @return false when a file cannot be opened, read or written, or the copy would be too large
bool WriteCopy(FileReader& file, const Diagnosis& diagnosis, const Format& given, const char* path);

}  // namespace cmm::check
