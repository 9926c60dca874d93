#pragma once
/// @file
/// Why a call has failed, where its own result does not tell.

#include "platform/posix/types.h"

/// @return the calling thread's code of the latest failure of a file (opening, moving bytes, closing), as
///         std::system_category() names it: errno's value. A call that succeeds leaves it alone.
CMM_API DWORD GetLastError();

/// Sets the calling thread's code; with 0 ahead of a call, what is there behind it is that call's.
CMM_API void SetLastError(DWORD code);
