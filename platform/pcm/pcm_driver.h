#pragma once
// The PCM converter as a driver of the process.

namespace platform::detail {

/// Adds the converter to the process's drivers, where it is not one of them already.
/// @return true: it is one of them
/// @return false: the platform has refused it
bool AddPcmDriver();

}  // namespace platform::detail
