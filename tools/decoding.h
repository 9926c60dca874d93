#pragma once
// Decoding with the whole format and from other containers, both of which CMMWav cannot do.

#include <cstdint>
#include <functional>
#include <string>

#include "tools/wav_length.h"

/// Takes the next piece of a result.
using Sink = std::function<void(const std::uint8_t* data, std::uint32_t bytes)>;

/// Converts a file by a stream of the platform's conversion. The stream has the file's complete format with the channel
/// mask, and may change the tag together with channels and rate. The samples are read from where @p sizes say, so the
/// container may be RF64 or W64.
/// @param show is told the fraction that is done
/// @return false: no driver converts between these formats. Throws a Failure when the file cannot be converted to
///         its end, or the user stops it
bool Decode(const std::string& name, const WavSizes& sizes, const WAVEFORMATEX& target, const Sink& sink,
            const std::function<void(double)>& show);
