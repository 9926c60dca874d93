// The engine's set-up and shut-down: device, ring, events, notifications. Drains are in Drain.cpp.

#include "capture/CMMCapture.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "capture/Limits.h"
#include "capture/Messages.h"
#include "capture/RunJournal.h"

namespace {

void Release(IUnknown* object) {
  if (object != nullptr) object->Release();
}

std::uint32_t CommandsOf(const ThreadDAT& dat) {
  return std::min<std::uint32_t>(dat.commandCount, kCommandCount);
}

}  // namespace

CMMCapture::CMMCapture() {
  ClsDat();
}
CMMCapture::CMMCapture(const CMMCapture& other) = default;
CMMCapture& CMMCapture::operator=(const CMMCapture& other) = default;
CMMCapture::~CMMCapture() = default;

std::int32_t CMMCapture::Init(ThreadDAT* dat) {
  ClsDat();
  // The event of the run before is closed, and this run may fail before InitEvents takes its own.
  ownerEvent = nullptr;
  notifyEventCount = 1;
  commandCount = CommandsOf(*dat);
  segmentCount = std::min<std::uint32_t>(dat->segmentCount, static_cast<std::uint32_t>(std::size(positions)));
  channels = dat->format.nChannels;
  bitsPerSample = dat->format.wBitsPerSample;
  dat->threadCount = 10;

  std::int32_t result = CoInitialize(nullptr);
  if (result != 0) return result;
  if (!owners.Begin()) return E_OUTOFMEMORY;

  dat->state = kStateDevice;
  result = DirectSoundCaptureCreate(dat->deviceGuid, &captureDevice, nullptr);
  Say(result < 0 ? capture::kDeviceFailed : capture::kDeviceCreated);
  if (result < 0) return result;

  InitEvents(dat);
  // With a null handle in the list every wait would fail at once; a command without a reply event would take
  // effect and never be answered.
  const auto missing = [](HANDLE handle) { return handle == nullptr; };
  if (std::any_of(waitHandles, waitHandles + notifyEventCount + commandCount, missing) ||
      std::any_of(replyEvents, replyEvents + commandCount, missing)) {
    return E_OUTOFMEMORY;
  }

  dat->state = kStateRing;
  result = InitBuffer(dat);
  Say(result < 0 ? capture::kRingFailed : capture::kRingCreated);
  if (result < 0) return result;

  dat->state = kStateNotification;
  result = InitNotifications(dat);
  Say(result < 0 ? capture::kNotificationsFailed : capture::kNotificationsSet);
  return result < 0 ? result : 1;
}

std::int32_t CMMCapture::InitEvents(ThreadDAT* dat) {
  ownerEvent = dat->ownerEvent;
  for (std::uint32_t i = 0; i < notifyEventCount; ++i) {
    waitHandles[i] = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  }
  for (std::uint32_t i = 0; i < CommandsOf(*dat); ++i) {
    dat->commandEvents[i] = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    dat->replyEvents[i] = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    waitHandles[notifyEventCount + i] = dat->commandEvents[i];
    replyEvents[i] = dat->replyEvents[i];
  }

  const auto ringSize =
      static_cast<std::uint32_t>(std::uint64_t{dat->format.nAvgBytesPerSec} * capture::kRingMs / 1000);
  const std::uint32_t size =
      std::max(ringSize / std::max<std::uint32_t>(dat->segmentCount, 1), capture::kSmallestSegmentBytes);
  // Only the record's count changes: the ring and its notification points use the engine's own.
  if (size == capture::kSmallestSegmentBytes) dat->segmentCount = ringSize / capture::kSmallestSegmentBytes;
  const std::uint32_t block = std::max<std::uint32_t>(dat->format.nBlockAlign, 1);
  segmentSize = size - size % block;
  return 1;
}

std::int32_t CMMCapture::InitBuffer(ThreadDAT* dat) {
  if (captureDevice == nullptr) return DSERR_UNINITIALIZED;
  DSCBUFFERDESC desc{};
  // Without the fields that later versions have after the format: 20 bytes where pointers have four.
  desc.dwSize = offsetof(DSCBUFFERDESC, lpwfxFormat) + sizeof(void*);
  desc.dwBufferBytes = segmentCount * segmentSize;
  desc.lpwfxFormat = &dat->format;
  return captureDevice->CreateCaptureBuffer(&desc, &captureBuffer, nullptr);
}

std::int32_t CMMCapture::InitNotifications(ThreadDAT* /*dat*/) {
  if (captureBuffer == nullptr) return DSERR_UNINITIALIZED;
  void* found = nullptr;
  const HRESULT result = captureBuffer->QueryInterface(IID_IDirectSoundNotify, &found);
  if (result < 0) return result;
  notify = static_cast<IDirectSoundNotify*>(found);
  for (std::uint32_t i = 0; i < segmentCount; ++i) {
    positions[i].dwOffset = segmentSize * (i + 1) - 1;
    positions[i].hEventNotify = waitHandles[0];
  }
  return notify->SetNotificationPositions(segmentCount, positions);
}

std::int32_t CMMCapture::StartREC() {
  if (captureBuffer == nullptr || !owners.IsOpen()) return 0;
  const HRESULT result = captureBuffer->Start(DSCBSTART_LOOPING);
  Say(result == 0 ? capture::kCaptureStarted : capture::kCaptureNotStarted);
  readOffset = 0;
  capture::RunJournal::Get().CaptureStarted(result);
  return 1;
}

std::int32_t CMMCapture::StopREC() {
  if (captureBuffer == nullptr || !owners.IsOpen()) return 0;
  const HRESULT result = captureBuffer->Stop();
  Say(result == 0 ? capture::kCaptureStopped : capture::kCaptureNotStopped);
  capture::RunJournal::Get().CaptureStopped(result);
  if (result == 0) return 1;
  return result == 1 ? 0 : result;
}

std::uint32_t CMMCapture::MsgWait(std::uint32_t milliseconds) {
  constexpr DWORD kAllEvents = 0xBF;  // QS_ALLEVENTS, which later headers make wider
  return MsgWaitForMultipleObjects(notifyEventCount + commandCount, waitHandles, FALSE, milliseconds,
                                   kAllEvents);
}

std::int32_t CMMCapture::fOpen(ThreadDAT* dat) {
  SetLastError(0);
  const std::int32_t result = wav.Open(dat->format, dat->fileName, dat->pathName);
  if (result == 1) {
    capture::RunJournal::Get().FileOpened();
  } else {
    capture::RunJournal::Get().FileFailed(GetLastError());
  }
  Say(result == 0   ? capture::kFileOpenFailed
      : result == 1 ? capture::kFileOpened
                    : capture::kFileOpenUnknown);
  return result;
}

std::int32_t CMMCapture::fClose() {
  SetLastError(0);
  const std::int32_t result = wav.Close(0);
  if (result != 1) capture::RunJournal::Get().FileFailed(GetLastError());
  Say(result == 0   ? capture::kFileCloseFailed
      : result == 1 ? capture::kFileClosed
                    : capture::kFileCloseUnknown);
  return result;
}

std::int32_t CMMCapture::Free(std::uint32_t /*unused*/) {
  if (owners.IsOpen()) {  // otherwise a copy has given everything back
    Release(captureBuffer);
    Release(notify);
    Release(captureDevice);
    for (const HANDLE event : waitHandles) CloseHandle(event);
    for (const HANDLE event : replyEvents) CloseHandle(event);
    owners.End();
  }
  CoUninitialize();
  ClsDat();
  Say(capture::kAllGivenBack);
  return 1;
}

void CMMCapture::ClsDat() {
  captureDevice = nullptr;
  captureBuffer = nullptr;
  notify = nullptr;
  segmentSize = 0;
  segmentCount = 0;
  readOffset = 0;
  notifyEventCount = 0;
  commandCount = 0;
  std::fill(std::begin(positions), std::end(positions), DSBPOSITIONNOTIFY{});
  std::fill(std::begin(waitHandles), std::end(waitHandles), nullptr);
  std::fill(std::begin(replyEvents), std::end(replyEvents), nullptr);
  bitsPerSample = 0;
  channels = 0;
}

std::int32_t CMMCapture::OwnerCall() {
  return ownerEvent != nullptr && ::SetEvent(ownerEvent) ? 1 : 0;
}

std::int32_t CMMCapture::SetEvent(std::uint32_t index) {
  return index < commandCount && ::SetEvent(waitHandles[notifyEventCount + index]) ? 1 : 0;
}

std::int32_t CMMCapture::ResetEvent(std::uint32_t index) {
  return index < commandCount && ::ResetEvent(waitHandles[notifyEventCount + index]) ? 1 : 0;
}

std::int32_t CMMCapture::SetRevEvent(std::uint32_t index) {
  return index < commandCount && ::SetEvent(replyEvents[index]) ? 1 : 0;
}

std::int32_t CMMCapture::ResetRevEvent(std::uint32_t index) {
  return index < commandCount && ::ResetEvent(replyEvents[index]) ? 1 : 0;
}
