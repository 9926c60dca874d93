#include "platform/pcm/pcm_mix.h"

#include <algorithm>
#include <initializer_list>

namespace platform::detail {
namespace {

/// The bits of a channel mask, from the lowest up.
enum Place : unsigned {
  kFrontLeft,
  kFrontRight,
  kFrontCentre,
  kLowFrequency,
  kBackLeft,
  kBackRight,
  kLeftOfCentre,
  kRightOfCentre,
  kBackCentre,
  kSideLeft,
  kSideRight,
  kTopCentre,
  kTopFrontLeft,
  kTopFrontCentre,
  kTopFrontRight,
  kTopBackLeft,
  kTopBackCentre,
  kTopBackRight,
  kPlaces
};

constexpr DWORD Mask(std::initializer_list<Place> places) {
  DWORD mask = 0;
  for (const Place place : places) mask |= DWORD{1} << place;
  return mask;
}

constexpr DWORD kFront = Mask({kFrontLeft, kFrontRight});
constexpr DWORD kBack = Mask({kBackLeft, kBackRight});
constexpr DWORD kSide = Mask({kSideLeft, kSideRight});
constexpr DWORD kCentreAndLow = Mask({kFrontCentre, kLowFrequency});

/// The places of 3 to 8 channels that do not say theirs.
constexpr DWORD kUsual[] = {kFront | Mask({kFrontCentre}),
                            kFront | kBack,
                            kFront | Mask({kFrontCentre}) | kBack,
                            kFront | kCentreAndLow | kBack,
                            kFront | kCentreAndLow | Mask({kBackCentre}) | kSide,
                            kFront | kCentreAndLow | kBack | kSide};

struct Sides {
  double left;
  double right;
};

constexpr double kMinus3dB = 0.70710678118654752;  // the root of 1/2

constexpr Sides SidesOf(unsigned place) {
  switch (place) {
    case kFrontLeft:
    case kLeftOfCentre:
      return {1, 0};
    case kFrontRight:
    case kRightOfCentre:
      return {0, 1};
    case kFrontCentre:
      return {kMinus3dB, kMinus3dB};
    case kBackLeft:
    case kSideLeft:
    case kTopFrontLeft:
    case kTopBackLeft:
      return {kMinus3dB, 0};
    case kBackRight:
    case kSideRight:
    case kTopFrontRight:
    case kTopBackRight:
      return {0, kMinus3dB};
    case kBackCentre:
    case kTopCentre:
    case kTopFrontCentre:
    case kTopBackCentre:
      return {0.5, 0.5};
    default:
      return {0, 0};
  }
}

MixParts MixByPlaces(std::size_t channels, DWORD mask) {
  mask &= (DWORD{1} << kPlaces) - 1;  // the bits above are no places
  if (mask == 0) mask = kUsual[channels - 3];
  MixParts parts{};
  double left = 0;
  double right = 0;
  std::size_t channel = 0;
  for (unsigned place = 0; place < kPlaces && channel < channels; ++place) {
    if (!(mask >> place & 1)) continue;
    const Sides sides = SidesOf(place);
    left += parts[0][channel] = sides.left;
    right += parts[1][channel] = sides.right;
    ++channel;
  }
  const double most = std::max(left, right);
  if (most == 0) return parts;
  for (auto& side : parts)
    for (double& part : side) part /= most;
  return parts;
}

}  // namespace

MixParts MakeMixParts(const PcmSource& source, std::size_t targetChannels) {
  MixParts parts{};
  if (source.channels == 1) {
    parts[0][0] = parts[1][0] = 1;
  } else if (source.channels == 2) {
    parts[0][0] = parts[1][1] = 1;
  } else {
    parts = MixByPlaces(source.channels, source.mask);
  }
  if (targetChannels == 1 && source.channels > 1)
    for (std::size_t i = 0; i < kMostPcmChannels; ++i) parts[0][i] = (parts[0][i] + parts[1][i]) / 2;
  return parts;
}

}  // namespace platform::detail
