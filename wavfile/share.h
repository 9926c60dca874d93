#pragma once
// What an object and its copies have in common.

#include <cstddef>

#include "wavfile/CMMWav.h"

/// Lies in the format block, in front of the record that srcFormat points to, so that it lives exactly as
/// long as an object has a file open or has not yet noticed that a copy closed it.
///
/// Each sharer has all fields of its own; those of the holder are the newest. A sharer that begins an
/// operation and is not the holder takes the holder's fields over and becomes the holder. An object without
/// copies is always its own holder, so it pays one comparison an operation.
struct CMMWav::Share {
  std::uint32_t sharers = 1;
  CMMWav* holder;  // null: a sharer has closed the file
  CMMWav keeper;   // holds the fields when the holder goes and others stay; its own srcFormat is always null

  explicit Share(CMMWav* owner) : holder(owner) {}

  static Share* Of(const CMMWav& wav) { return reinterpret_cast<Share*>(wav.srcFormat) - 1; }

  /// Begins every operation: brings the fields up to date. @return whether a file is open
  static bool Live(CMMWav& wav) {
    return wav.srcFormat != nullptr && (Of(wav)->holder == &wav || TakeOver(wav));
  }

  /// @return a zeroed format record with room for @p extraBytes behind it, shared by @p owner alone; null
  ///         when memory is short
  static WAVEFORMATEX* NewFormat(CMMWav* owner, std::size_t extraBytes);
  /// Frees a record that no object shares any more.
  static void FreeFormat(WAVEFORMATEX* format);

  static void CopyFields(CMMWav& to, const CMMWav& from);
  static bool Last(const CMMWav& wav) { return wav.srcFormat == nullptr || Of(wav)->sharers == 1; }
  /// Ends the file for all sharers and gives the object's part in the format block back.
  static void EndFile(CMMWav& wav);
  /// Gives up what the object holds: leaves an open file to the other sharers, or closes it as the last.
  static void GiveUp(CMMWav& wav);

 private:
  static bool TakeOver(CMMWav& wav);
};
