// The PCM converter as a driver of the platform's audio compression manager: the procedure that the manager
// calls with messages, and its place among the drivers of the process.
#include "platform/pcm/pcm_driver.h"

#include <cwchar>
#include <memory>
#include <new>

#include "platform/pcm/pcm_converter.h"
#include "platform/windows/acm_messages.h"
#include "platform/windows/pcm_formats.h"

namespace platform::detail {
namespace {

MMRESULT TellDriver(ACMDRIVERDETAILSW& details) {
  if (details.cbStruct < sizeof details) return MMSYSERR_INVALPARAM;
  details = {};
  details.cbStruct = sizeof details;
  details.fccType = ACMDRIVERDETAILS_FCCTYPE_AUDIOCODEC;
  details.wMid = details.wPid = 0xFFFF;  // no registered maker and product
  details.vdwACM = 0x03320000;
  details.vdwDriver = 0x01000000;
  details.fdwSupport = ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_CONVERTER;
  details.cFormatTags = 3;
  std::wcscpy(details.szShortName, L"PCM (cmmaudio)");
  std::wcscpy(details.szLongName, L"PCM converter (cmmaudio)");
  std::wcscpy(details.szFeatures, L"Sample rate, channels and bits of PCM and floating-point audio.");
  return MMSYSERR_NOERROR;
}

PcmConverter& ConverterOf(const StreamInstance& instance) {
  return *reinterpret_cast<PcmConverter*>(instance.dwDriver);
}

MMRESULT OpenStream(StreamInstance& instance) try {
  if (instance.fdwOpen & ACM_STREAMOPENF_ASYNC) return MMSYSERR_NOTSUPPORTED;
  if (instance.pwfltr != nullptr) return ACMERR_NOTPOSSIBLE;
  auto converter = PcmConverter::Open(*instance.pwfxSrc, *instance.pwfxDst);
  if (!converter) return ACMERR_NOTPOSSIBLE;
  if (!(instance.fdwOpen & ACM_STREAMOPENF_QUERY))
    instance.dwDriver = reinterpret_cast<DWORD_PTR>(converter.release());
  return MMSYSERR_NOERROR;
} catch (const std::bad_alloc&) {
  return MMSYSERR_NOMEM;
}

MMRESULT CloseStream(StreamInstance& instance) {
  const std::unique_ptr<PcmConverter> last(&ConverterOf(instance));
  instance.dwDriver = 0;
  return MMSYSERR_NOERROR;
}

MMRESULT TellSize(const StreamInstance& instance, StreamSizes& sizes) {
  DWORD bytes = 0;  // the structure's own lengths may not be aligned
  const bool ofSource = sizes.fdwSize == ACM_STREAMSIZEF_SOURCE;
  const PcmConverter& converter = ConverterOf(instance);
  const MMRESULT result = ofSource ? converter.OutputSize(sizes.cbSrcLength, bytes)
                                   : converter.SourceSize(sizes.cbDstLength, bytes);
  if (ofSource) {
    sizes.cbDstLength = bytes;
  } else {
    sizes.cbSrcLength = bytes;
  }
  return result;
}

MMRESULT ConvertHeader(const StreamInstance& instance, StreamHeader& header) {
  PcmConverter& converter = ConverterOf(instance);
  if (header.fdwConvert & ACM_STREAMCONVERTF_START) converter.Restart();
  const auto counts = converter.Convert(header.pbSrc, header.cbSrcLength, header.pbDst, header.cbDstLength);
  header.cbSrcLengthUsed = static_cast<DWORD>(counts.taken);
  header.cbDstLengthUsed = static_cast<DWORD>(counts.made);
  return MMSYSERR_NOERROR;
}

MMRESULT ResetStream(const StreamInstance& instance) {
  ConverterOf(instance).Restart();
  return MMSYSERR_NOERROR;
}

/// The answer to a message of the manager. Headers are prepared by the manager itself, as this refuses to.
MMRESULT Answer(UINT message, LPARAM first, LPARAM second) {
  switch (message) {
    case kDriverDetails:
      return TellDriver(At<ACMDRIVERDETAILSW>(first));
    case kFormatTagDetails:
      return TellFormatTag(At<ACMFORMATTAGDETAILSW>(first), static_cast<DWORD>(second));
    case kFormatDetails:
      return TellFormat(At<ACMFORMATDETAILSW>(first), static_cast<DWORD>(second));
    case kFormatSuggest:
      return SuggestFormat(At<FormatSuggestion>(first), SuggestionTargetAt(first));
    case kStreamOpen:
      return OpenStream(StreamAt(first));
    case kStreamClose:
      return CloseStream(StreamAt(first));
    case kStreamSize:
      return TellSize(StreamAt(first), At<StreamSizes>(second));
    case kStreamConvert:
      return ConvertHeader(StreamAt(first), At<StreamHeader>(second));
    case kStreamReset:
      return ResetStream(StreamAt(first));
    default:
      return MMSYSERR_NOTSUPPORTED;
  }
}

LRESULT CALLBACK DriverProcedure(DWORD_PTR /*driver*/, HACMDRIVERID /*id*/, UINT message, LPARAM first,
                                 LPARAM second) {
  switch (message) {
    case DRV_LOAD:
    case DRV_ENABLE:
    case DRV_OPEN:  // the driver has no state: every opening is the same
    case DRV_CLOSE:
    case DRV_DISABLE:
    case DRV_FREE:
      return 1;
    case DRV_INSTALL:
    case DRV_REMOVE:
      return DRVCNF_OK;
    case DRV_QUERYCONFIGURE:
    case DRV_CONFIGURE:
      return 0;
    default:
      return message >= ACMDM_BASE ? static_cast<LRESULT>(Answer(message, first, second)) : 0;
  }
}

/// The module of this procedure. It is never unloaded from now on; null on failure.
HMODULE KeepModule() {
  HMODULE module = nullptr;
  const BOOL found =
      GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<LPCSTR>(&DriverProcedure), &module);
  return found ? module : nullptr;
}

}  // namespace

bool AddPcmDriver() {
  static SRWLOCK lock = SRWLOCK_INIT;
  static HACMDRIVERID driver = nullptr;
  AcquireSRWLockExclusive(&lock);
  if (driver == nullptr) {
    const HMODULE module = KeepModule();
    if (module == nullptr || acmDriverAddA(&driver, module, reinterpret_cast<LPARAM>(&DriverProcedure), 0,
                                           ACM_DRIVERADDF_FUNCTION) != MMSYSERR_NOERROR) {
      driver = nullptr;
    }
  }
  const bool added = driver != nullptr;
  ReleaseSRWLockExclusive(&lock);
  return added;
}

}  // namespace platform::detail
