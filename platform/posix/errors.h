#pragma once
/// @file
/// The reason for a failed file operation, for callers that want more than the operation's own result.
/// Any thread; each thread has a code of its own.

#include "platform/posix/types.h"

/// The code is set when the system refuses to open a file, to read or write it, or to close a buffered one;
/// EBUSY when the file is in use otherwise, or has no positions. A call that succeeds leaves it as it is, and
/// so does one that fails for another reason.
/// @return the calling thread's code: errno's value, as std::system_category() names it; 0 before the first
CMM_API DWORD GetLastError();

/// Sets the calling thread's code. Set it to 0 before a call: what it is afterwards comes from that call.
CMM_API void SetLastError(DWORD code);
