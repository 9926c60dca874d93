#pragma once
// The drivers that the audio compression manager has.

#include <atomic>
#include <memory>
#include <vector>

#include "platform/posix/acm_driver.h"
#include "platform/posix/core/handles.h"

namespace platform::detail {

/// A driver and its identifier.
struct InstalledDriver {
  HACMDRIVERID id;
  std::shared_ptr<const ConversionDriver> driver;
};

/// What acmDriverID can be asked about.
class ManagerObject : public Object {
 public:
  explicit ManagerObject(HACMDRIVERID driver) : driverId_(driver) {}
  HACMDRIVERID DriverId() const { return driverId_; }

 private:
  const HACMDRIVERID driverId_;
};

/// A driver opened by the host: what a HACMDRIVER stands for.
class OpenDriver final : public ManagerObject {
 public:
  explicit OpenDriver(InstalledDriver installed)
      : ManagerObject(installed.id), installed_(std::move(installed)) {}
  const InstalledDriver& Installed() const { return installed_; }

  std::atomic<unsigned> streams{0};  // open on it

 private:
  const InstalledDriver installed_;
};

/// The drivers that there are now, in their order. May throw std::bad_alloc.
std::vector<InstalledDriver> InstalledDrivers();

inline bool IsDisabled(const ConversionDriver& driver) {
  return (driver.Support() & ACMDRIVERDETAILS_SUPPORTF_DISABLED) != 0;
}

}  // namespace platform::detail
