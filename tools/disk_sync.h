#pragma once
// A recording that survives the loss of power: what has been written is forced to the disk now and then.

#include <atomic>
#include <memory>
#include <string>
#include <system_error>

#include "platform/platform.h"
#include "tools/new_file.h"

/// Forces a file that others write to the disk, again and again. It waits for the disk on a thread of its own,
/// so whoever writes the file does not wait for it.
class DiskSync {
 public:
  /// Begins. @param seconds from the end of one time to the next
  DiskSync(const std::string& file, double seconds);
  /// Ends the thread, when it has done what it is at.
  ~DiskSync();
  DiskSync(const DiskSync&) = delete;
  DiskSync& operator=(const DiskSync&) = delete;

  /// Ends the thread and forces the file a last time.
  void Finish();
  /// @return what has gone wrong, as a sentence for the user; empty when nothing has, and after the first time
  std::string NewFailure();

 private:
  static unsigned __stdcall Run(void* sync) noexcept;
  void End();
  void Force() noexcept;
  void Note(const std::error_code& error) noexcept;

  const std::string file_;
  const DWORD intervalMs_;
  std::unique_ptr<ForcedFile> opened_;
  HANDLE end_ = nullptr;  // an event
  HANDLE thread_ = nullptr;
  std::error_code failure_;  // the first one; set before the flag, and then left alone
  std::atomic<bool> hasFailed_{false};
  bool isTold_ = false;
};
