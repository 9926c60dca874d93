#pragma once
/// @file
/// Debug output and double-byte text under the published names.

#include "platform/posix/types.h"

/// Hands a text to the debugger: here to the sink of platform::SetDebugSink, or to nobody.
CMM_API void OutputDebugStringA(LPCSTR text);

/// @return TRUE when @p byte begins a double-byte character of the layer's code page
CMM_API BOOL IsDBCSLeadByte(BYTE byte);
