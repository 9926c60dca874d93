#pragma once

namespace test {

/// Has the process take names and texts in this code page; 0 is what it begins with.
/// @return false when it cannot: on Windows a process keeps the one that it begins with
bool UseCodePage(unsigned codePage);

}  // namespace test
