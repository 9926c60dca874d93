#pragma once
// The strings of a record. A controller and its copies hold the same blocks, so a block counts its holders in
// front of the characters and goes with the last one.

namespace capture {

/// @return a copy of @p text with one holder; null when memory is short
char* NewText(const char* text) noexcept;
/// Counts one more holder. Null is allowed.
void KeepText(char* text) noexcept;
/// Counts one holder less, and clears the caller's pointer. Null is allowed.
void DropText(char*& text) noexcept;

}  // namespace capture
