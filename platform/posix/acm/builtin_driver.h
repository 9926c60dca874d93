#pragma once
// What the layer's own drivers have in common, and how each is made.

#include <memory>

#include "platform/posix/acm_driver.h"

namespace platform::detail {

/// What a driver of the layer says about itself.
struct DriverInfo {
  DWORD support;
  DWORD formatTags;  // number of those that it knows, with PCM
  const char* shortName;
  const char* longName;
  const char* features;
};

/// A driver of the layer: everything but Open.
class BuiltInDriver : public ConversionDriver {
 public:
  explicit BuiltInDriver(const DriverInfo& info) : info_(info) {}
  DWORD Support() const final { return info_.support; }
  MMRESULT Details(ACMDRIVERDETAILSA& details) const final;

 private:
  const DriverInfo info_;
};

using DriverMaker = std::shared_ptr<const ConversionDriver> (*)();
std::shared_ptr<const ConversionDriver> MakePcmDriver();
std::shared_ptr<const ConversionDriver> MakeALawDriver();
std::shared_ptr<const ConversionDriver> MakeMuLawDriver();
std::shared_ptr<const ConversionDriver> MakeImaAdpcmDriver();
std::shared_ptr<const ConversionDriver> MakeMsAdpcmDriver();

}  // namespace platform::detail
