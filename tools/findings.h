#pragma once
// What the checker finds in a WAV file, kept and printed.

#include <cstdint>
#include <string>
#include <vector>

#include "wavfile/WavCheck.h"

using Findings = std::vector<cmm::WavFinding>;

/// @param read whether the file could be read
Findings Check(const std::string& file, bool* read);

/// Adds a finding to a Findings; context for cmm::WavFindingSink.
void Collect(void* findings, const cmm::WavFinding& finding);

/// @return "harmless", "wrong" or "unreadable"
const char* SeverityName(cmm::WavSeverity severity);

/// @return whether one of them is worse than harmless
bool AnyWrong(const Findings& findings);

/// @return whether the file's sizes were never filled in, or hold no longer
bool IsUnfinished(const Findings& findings);

/// @return a sentence that names the program which saves an unfinished file; empty for any other file
std::string RepairHint(const std::string& file);
