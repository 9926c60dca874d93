#include "tools/disk_sync.h"

#include "tools/paths.h"

DiskSync::DiskSync(const std::string& file, double seconds)
    : file_(file), intervalMs_(static_cast<DWORD>(seconds * 1000)) {
  std::error_code error;
  opened_ = OpenForced(NativePath(file), error);
  if (!opened_) {
    Note(error);
    return;
  }
  end_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (end_ != nullptr) {
    thread_ = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &DiskSync::Run, this, 0, nullptr));
  }
  if (thread_ == nullptr) Note(make_error_code(std::errc::not_enough_memory));
}

DiskSync::~DiskSync() {
  End();
}

void DiskSync::Finish() {
  End();
  if (opened_) Force();
}

std::string DiskSync::NewFailure() {
  if (!hasFailed_ || isTold_) return {};
  isTold_ = true;
  return file_ + " cannot be forced to the disk: " + failure_.message() + ". It is recorded all the same";
}

unsigned __stdcall DiskSync::Run(void* sync) noexcept {
  auto& self = *static_cast<DiskSync*>(sync);
  while (WaitForSingleObject(self.end_, self.intervalMs_) == WAIT_TIMEOUT) self.Force();
  return 0;
}

void DiskSync::End() {
  if (thread_ != nullptr) {
    SetEvent(end_);
    WaitForSingleObject(thread_, INFINITE);
    CloseHandle(thread_);
    thread_ = nullptr;
  }
  if (end_ != nullptr) CloseHandle(end_);
  end_ = nullptr;
}

void DiskSync::Force() noexcept {
  if (const std::error_code error = opened_->Force()) Note(error);
}

void DiskSync::Note(const std::error_code& error) noexcept {
  if (hasFailed_) return;
  failure_ = error;
  hasFailed_ = true;
}
