#pragma once
// What the layer's own drivers have in common, and how each is made.

#include <memory>

#include "platform/posix/acm_driver.h"

namespace platform::detail {

/// What a driver of the layer says about itself.
struct DriverCard {
  DWORD support;
  DWORD formatTags;  // that it knows, PCM among them
  const char* shortName;
  const char* longName;
  const char* features;
};

/// A driver of the layer: all but Open.
class BuiltInDriver : public ConversionDriver {
 public:
  explicit BuiltInDriver(const DriverCard& card) : card_(card) {}
  DWORD Support() const final { return card_.support; }
  MMRESULT Details(ACMDRIVERDETAILSA& details) const final;

 private:
  const DriverCard card_;
};

using DriverMaker = std::shared_ptr<const ConversionDriver> (*)();
std::shared_ptr<const ConversionDriver> MakePcmDriver();
std::shared_ptr<const ConversionDriver> MakeALawDriver();
std::shared_ptr<const ConversionDriver> MakeMuLawDriver();
std::shared_ptr<const ConversionDriver> MakeImaAdpcmDriver();
std::shared_ptr<const ConversionDriver> MakeMsAdpcmDriver();

}  // namespace platform::detail
