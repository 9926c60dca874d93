#include "platform/posix/errors.h"

namespace {

constinit thread_local DWORD lastError = 0;

}  // namespace

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD code) {
  lastError = code;
}
