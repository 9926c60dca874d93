#pragma once
// Whether somebody looks on.

#include <cstdio>

#if defined(_WIN32)
#include <io.h>
inline bool IsTerminal(std::FILE* stream) {
  return _isatty(_fileno(stream)) != 0;
}
#else
#include <unistd.h>
inline bool IsTerminal(std::FILE* stream) {
  return isatty(fileno(stream)) != 0;
}
#endif
