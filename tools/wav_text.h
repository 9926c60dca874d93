#pragma once
// What to tell a user about a WAV file.

#include <string>

/// A format tag's name, as "PCM"; "format" for one without.
std::string FormatName(unsigned tag);

/// Minutes, seconds and hundredths, rounded, as "01:05.25".
std::string TimeText(double seconds);

/// Why CMMWav, which answers with success or failure and nothing in between, may have refused to open a file:
/// looks at the file itself.
std::string WhyUnreadable(const std::string& file);
