#pragma once
// The drivers of the audio compression manager, and the objects of its handles.

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

/// The object of a handle that has a driver: of an open driver or a stream.
class ManagerObject : public Object {
 public:
  explicit ManagerObject(HACMDRIVERID driver) : driverId_(driver) {}
  HACMDRIVERID DriverId() const { return driverId_; }

 private:
  const HACMDRIVERID driverId_;
};

/// The object of a HACMDRIVER: a driver that the host has opened.
class OpenDriver final : public ManagerObject {
 public:
  explicit OpenDriver(InstalledDriver installed)
      : ManagerObject(installed.id), installed_(std::move(installed)) {}
  const InstalledDriver& Installed() const { return installed_; }

  std::atomic<unsigned> streams{0};  // open on it

 private:
  const InstalledDriver installed_;
};

/// @return the present drivers, in their order. Throws std::bad_alloc
std::vector<InstalledDriver> InstalledDrivers();

inline bool IsDisabled(const ConversionDriver& driver) {
  return (driver.Support() & ACMDRIVERDETAILS_SUPPORTF_DISABLED) != 0;
}

}  // namespace platform::detail
