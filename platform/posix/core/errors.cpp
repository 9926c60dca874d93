// Each thread's error code.
#include "platform/posix/errors.h"

namespace {

// The TLS model gives the thread this variable even if the host has loaded the library late, so that no
// access allocates.
[[gnu::tls_model("initial-exec")]] constinit thread_local DWORD lastError = 0;

}  // namespace

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD code) {
  lastError = code;
}
