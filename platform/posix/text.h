#pragma once
/// @file
/// Debug output and double-byte text under the published names.

#include "platform/posix/types.h"

/// Hands a text to the debugger: here to the sink of platform::SetDebugSink, or to nobody.
CMM_API void OutputDebugStringA(LPCSTR text);

/// Compares the first @p count bytes of two strings, character by character as the layer's code page has
/// them; a lead byte whose second byte is missing ends its string. @return 0 when they are equal; otherwise
/// the sign of the difference
CMM_API int _mbsnbcmp(const unsigned char* one, const unsigned char* other, std::size_t count);

/// @return TRUE when @p byte begins a double-byte character of the layer's code page
CMM_API BOOL IsDBCSLeadByte(BYTE byte);

/// @return the character behind the one that @p text points at; @p text itself at the terminator, which is
///         never stepped over: a lead byte right before it is a character of one byte
CMM_API LPSTR CharNextA(LPCSTR text);

/// Copies the first @p count bytes of a string, with zeros in place of those that it does not have, and of a
/// lead byte whose second byte it has not got or that does not fit. Writes no terminator behind them.
/// @return @p to
CMM_API unsigned char* _mbsnbcpy(unsigned char* to, const unsigned char* from, std::size_t count);
