#pragma once
// What to tell a user about a WAV file.

#include <string>

/// A format tag's name, as "PCM"; "format" for one without.
std::string FormatName(unsigned tag);

/// Minutes, seconds and hundredths, rounded, as "01:05.25".
std::string TimeText(double seconds);

/// Why CMMWav has refused to open a file, which it does not tell: found by reading the file itself.
std::string WhyUnreadable(const std::string& name);
