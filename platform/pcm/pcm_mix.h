#pragma once
// How the channels of a source are brought to those of a destination.

#include <array>
#include <cstddef>

#include "platform/pcm/pcm_format.h"

namespace platform::detail {

/// The part of every channel of the source in each of two channels, or in one.
using MixParts = std::array<std::array<double, kMostPcmChannels>, 2>;

/// Makes the parts for one or two target channels; those of one channel are in the first row. One source
/// channel is copied, two are averaged. More are mixed by their places, with the coefficients of ITU-R
/// BS.775:
///
///   - front left and right, and the channels left and right of the centre: 1 on their own side;
///   - front centre: 0.7071 on both sides;
///   - side and back, and overhead left and right: 0.7071 on their own side;
///   - back centre, and overhead in the centre: 0.5 on both sides;
///   - low frequencies, and channels without a place: left out.
///
/// Each part is divided by the larger sum of a side, so full scale in all channels is full scale. One channel
/// is the mean of the two sides. Places are given to channels in the order of the mask's bits; without a mask
/// they are the usual ones of the number of channels.
MixParts MakeMixParts(const PcmSource& source, std::size_t targetChannels);

}  // namespace platform::detail
