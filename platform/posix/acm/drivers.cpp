// The list of drivers, and opening one.
#include "platform/posix/acm/drivers.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/posix/acm/builtin_driver.h"
#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/layer.h"
#include "platform/posix/sync.h"

namespace platform {
namespace detail {
namespace {

constexpr std::array<DriverMaker, 5> kBuiltIn = {MakePcmDriver, MakeALawDriver, MakeMuLawDriver,
                                                 MakeImaAdpcmDriver, MakeMsAdpcmDriver};

/// The object of a driver's identifier, which is in the table of handles so that no other handle is equal to
/// it.
class DriverEntry final : public Object {
 public:
  explicit DriverEntry(std::shared_ptr<const ConversionDriver> driver) : driver_(std::move(driver)) {}
  const std::shared_ptr<const ConversionDriver>& Driver() const { return driver_; }

 private:
  const std::shared_ptr<const ConversionDriver> driver_;
};

class DriverList {
 public:
  std::vector<InstalledDriver> All() {
    const std::lock_guard lock(lock_);
    AddBuiltIn();
    return drivers_;
  }

  HACMDRIVERID Add(std::shared_ptr<const ConversionDriver> driver) {
    const std::lock_guard lock(lock_);
    AddBuiltIn();
    return Append(std::move(driver));
  }

  bool Remove(HACMDRIVERID id) {
    const std::lock_guard lock(lock_);
    const auto found = std::find_if(drivers_.begin(), drivers_.end(),
                                    [&](const InstalledDriver& installed) { return installed.id == id; });
    if (found - drivers_.begin() < static_cast<std::ptrdiff_t>(kBuiltIn.size()) || found == drivers_.end())
      return false;
    CloseHandle(id);
    drivers_.erase(found);
    return true;
  }

 private:
  /// Done by the first call, not when the library is loaded; where memory was short, the next call continues.
  void AddBuiltIn() {
    while (drivers_.size() < kBuiltIn.size()) Append(kBuiltIn[drivers_.size()]());
  }

  HACMDRIVERID Append(std::shared_ptr<const ConversionDriver> driver) {
    drivers_.reserve(drivers_.size() + 1);
    const HANDLE id = OpenHandle(std::make_shared<DriverEntry>(driver));
    if (!id) throw std::bad_alloc();
    drivers_.push_back({static_cast<HACMDRIVERID>(id), std::move(driver)});
    return drivers_.back().id;
  }

  std::mutex lock_;
  std::vector<InstalledDriver> drivers_;  // the layer's own first
};

}  // namespace

std::vector<InstalledDriver> InstalledDrivers() {
  return NeverDestroyed<DriverList>().All();
}

}  // namespace detail

using namespace detail;

HACMDRIVERID RegisterConversionDriver(std::shared_ptr<const ConversionDriver> driver) try {
  return driver ? NeverDestroyed<DriverList>().Add(std::move(driver)) : nullptr;
} catch (const std::bad_alloc&) {
  return nullptr;
}

bool UnregisterConversionDriver(HACMDRIVERID driver) {
  return NeverDestroyed<DriverList>().Remove(driver);
}

}  // namespace platform

using namespace platform::detail;

MMRESULT acmDriverEnum(ACMDRIVERENUMCB callback, DWORD_PTR instance, DWORD flags) try {
  if (!callback) return MMSYSERR_INVALPARAM;
  if (flags & ~(ACM_DRIVERENUMF_DISABLED | ACM_DRIVERENUMF_NOLOCAL)) return MMSYSERR_INVALFLAG;
  for (const InstalledDriver& installed : InstalledDrivers()) {
    const DWORD support = installed.driver->Support();
    if ((support & ACMDRIVERDETAILS_SUPPORTF_DISABLED) && !(flags & ACM_DRIVERENUMF_DISABLED)) continue;
    if ((support & ACMDRIVERDETAILS_SUPPORTF_LOCAL) && (flags & ACM_DRIVERENUMF_NOLOCAL)) continue;
    if (!callback(installed.id, instance, support)) break;
  }
  return MMSYSERR_NOERROR;
} catch (const std::bad_alloc&) {
  return MMSYSERR_NOMEM;
}

MMRESULT acmDriverDetailsA(HACMDRIVERID id, LPACMDRIVERDETAILSA details, DWORD flags) try {
  const auto entry = FindObject<DriverEntry>(id);
  if (!entry) return MMSYSERR_INVALHANDLE;
  if (!details || details->cbStruct < sizeof details->cbStruct) return MMSYSERR_INVALPARAM;
  if (flags != 0) return MMSYSERR_INVALFLAG;
  ACMDRIVERDETAILSA all{};
  all.cbStruct = sizeof all;
  const MMRESULT result = entry->Driver()->Details(all);
  if (result != MMSYSERR_NOERROR) return result;
  all.cbStruct = std::min<DWORD>(details->cbStruct, sizeof all);
  std::memcpy(details, &all, all.cbStruct);
  return MMSYSERR_NOERROR;
} catch (const std::bad_alloc&) {
  return MMSYSERR_NOMEM;
}

MMRESULT acmDriverID(HACMOBJ handle, LPHACMDRIVERID driver, DWORD flags) {
  const auto object = FindAnyObject(handle);
  const auto ofDriver = std::dynamic_pointer_cast<ManagerObject>(object);
  const bool isId = std::dynamic_pointer_cast<DriverEntry>(object) != nullptr;
  if (!ofDriver && !isId) return MMSYSERR_INVALHANDLE;
  if (!driver) return MMSYSERR_INVALPARAM;
  if (flags != 0) return MMSYSERR_INVALFLAG;
  *driver = isId ? reinterpret_cast<HACMDRIVERID>(handle) : ofDriver->DriverId();
  return MMSYSERR_NOERROR;
}

MMRESULT acmDriverOpen(LPHACMDRIVER driver, HACMDRIVERID id, DWORD flags) try {
  if (!driver) return MMSYSERR_INVALPARAM;
  *driver = nullptr;
  const auto entry = FindObject<DriverEntry>(id);
  if (!entry) return MMSYSERR_INVALHANDLE;
  if (flags != 0) return MMSYSERR_INVALFLAG;
  if (IsDisabled(*entry->Driver())) return MMSYSERR_NOTENABLED;
  *driver =
      static_cast<HACMDRIVER>(OpenHandle(std::make_shared<OpenDriver>(InstalledDriver{id, entry->Driver()})));
  return *driver ? MMSYSERR_NOERROR : MMSYSERR_NOMEM;
} catch (const std::bad_alloc&) {
  return MMSYSERR_NOMEM;
}

MMRESULT acmDriverClose(HACMDRIVER driver, DWORD flags) {
  const auto open = FindObject<OpenDriver>(driver);
  if (!open) return MMSYSERR_INVALHANDLE;
  if (flags != 0) return MMSYSERR_INVALFLAG;
  if (open->streams != 0) return ACMERR_BUSY;
  return CloseHandle(driver) ? MMSYSERR_NOERROR : MMSYSERR_INVALHANDLE;
}
