#pragma once
// What to tell a user about a WAV file.

#include <string>

#include "platform/platform.h"

/// A format's name, as "PCM", or "PCM (extensible)" for what is inside an extensible format; "format" and its
/// number for one without.
std::string FormatName(const WAVEFORMATEXTENSIBLE& format);

/// As "PCM, 44100 Hz, 2 channels, 16 bits". Formats that say no bits have none here.
std::string Describe(const WAVEFORMATEXTENSIBLE& format);

/// What a file is by its first bytes, as "RF64", "FLAC" or "MP3"; empty for RIFF of form WAVE and for what is not
/// known.
std::string ContainerName(const std::string& name);

/// The end of a sentence: which other program makes a WAV file of this one.
std::string WayOut(const std::string& name);

/// Minutes, seconds and hundredths, rounded, as "01:05.25".
std::string TimeText(double seconds);

/// Why CMMWav has refused to open a file, which it does not tell: found by reading the file itself.
std::string WhyUnreadable(const std::string& name);
