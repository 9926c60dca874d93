#include "platform/posix/errors.h"

namespace {

// It comes with the thread even if the host has loaded the library late, so that no access takes memory.
[[gnu::tls_model("initial-exec")]] constinit thread_local DWORD lastError = 0;

}  // namespace

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD code) {
  lastError = code;
}
