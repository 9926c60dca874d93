#include "tools/failures.h"

#include <cstdio>
#include <system_error>

#include "capture/ThreadDAT.h"

namespace {

struct KnownResult {
  HRESULT result;
  const char* name;
  const char* meaning;  // and what the user can do
};

const KnownResult* FindResult(HRESULT result) {
  static const KnownResult kKnownResults[] = {
      {DSERR_NODRIVER, "DSERR_NODRIVER",
       "there is no such capture device. Connect one or start the sound server; --list shows what there is"},
      {DSERR_ALLOCATED, "DSERR_ALLOCATED",
       "another program is using the device. Close it, or choose another device with --device"},
      {DSERR_BADFORMAT, "DSERR_BADFORMAT",
       "the device cannot record in this format. Try other values of --rate, --channels and --bits"},
      {DSERR_OUTOFMEMORY, "DSERR_OUTOFMEMORY", "memory is short. Close other programs and try again"},
      {DSERR_INVALIDPARAM, "DSERR_INVALIDPARAM",
       "the device refused its settings. Try other values of --rate, --channels and --bits"},
      {DSERR_UNINITIALIZED, "DSERR_UNINITIALIZED", "the device is not ready. Try again"},
      {DSERR_NOINTERFACE, "DSERR_NOINTERFACE", "the device's driver lacks what recording needs"},
      {DSERR_NOAGGREGATION, "DSERR_NOAGGREGATION", "the device's driver lacks what recording needs"},
      {DSERR_GENERIC, "DSERR_GENERIC", "the device failed. Try again, or choose another with --device"},
      {RPC_E_CHANGED_MODE, "RPC_E_CHANGED_MODE", "the system's component services refused this thread"},
  };
  for (const KnownResult& known : kKnownResults) {
    if (known.result == result) return &known;
  }
  return nullptr;
}

const char* StepName(std::uint32_t state) {
  switch (state) {
    case kStateDevice:
      return "opening the capture device";
    case kStateRing:
      return "setting up the device's buffer";
    case kStateNotification:
      return "setting up the device's notifications";
    default:
      return "starting the recording";
  }
}

std::string FailureText(const std::string& what, HRESULT result) {
  const KnownResult* known = FindResult(result);
  char text[320];
  std::snprintf(text, sizeof text, "%s failed with %s (0x%08lX):\n  %s", what.c_str(),
                known != nullptr ? known->name : "an unknown result",
                static_cast<unsigned long>(static_cast<std::uint32_t>(result)),
                known != nullptr ? known->meaning : "try again, or choose another device with --device");
  return text;
}

std::string FileFailureText(int error, const std::string& file) {
  const std::error_code code(error, std::system_category());
  if (code == std::errc::no_space_on_device) return file + " takes no more: the disk is full";
  if (code == std::errc::file_too_large)
    return file + " has reached the largest size that the system lets a file have";
  return file + " cannot be written any more" + (error != 0 ? ": " + code.message() : std::string());
}

}  // namespace

std::string DeviceFailureText(std::uint32_t state, HRESULT result) {
  return FailureText(StepName(state), result);
}

std::string EndText(const cmm::CaptureReport& report, const std::string& file) {
  using cmm::CaptureEnd;
  switch (report.end) {
    case CaptureEnd::kFileLimit:
      return file + " has reached 4 GiB, the most that a WAV file can hold";
    case CaptureEnd::kDeviceLost:
      return "the capture device is gone: it was pulled out, or the sound server has ended";
    case CaptureEnd::kFileFailed:
      return FileFailureText(report.fileError, file);
    default:
      break;
  }
  if (report.deviceResult != 0) return FailureText("the capture device", report.deviceResult);
  if (report.fileError != 0) return FileFailureText(report.fileError, file);
  return report.end == CaptureEnd::kDeviceFailed ? "the capture device has signalled sound and given none"
                                                 : "the capture device or the disk does not answer";
}
