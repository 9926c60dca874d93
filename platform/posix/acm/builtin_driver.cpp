// What the layer's own drivers say about themselves.
#include "platform/posix/acm/builtin_driver.h"

#include <cstring>

#include "platform/posix/mmio.h"

namespace platform::detail {
namespace {

constexpr WORD kUnmapped = 0xFFFF;  // MM_UNMAPPED, MM_PID_UNMAPPED: no registered maker and product
constexpr DWORD kManagerVersion = 0x03320000;
constexpr DWORD kDriverVersion = 0x01000000;

template <std::size_t kSize>
void CopyText(char (&to)[kSize], const char* from) {
  std::strncpy(to, from, kSize - 1);  // the structure is all zeros
}

}  // namespace

MMRESULT BuiltInDriver::Details(ACMDRIVERDETAILSA& details) const {
  details.fccType = mmioFOURCC('a', 'u', 'd', 'c');
  details.wMid = kUnmapped;
  details.wPid = kUnmapped;
  details.vdwACM = kManagerVersion;
  details.vdwDriver = kDriverVersion;
  details.fdwSupport = info_.support;
  details.cFormatTags = info_.formatTags;
  CopyText(details.szShortName, info_.shortName);
  CopyText(details.szLongName, info_.longName);
  CopyText(details.szFeatures, info_.features);
  return MMSYSERR_NOERROR;
}

}  // namespace platform::detail
