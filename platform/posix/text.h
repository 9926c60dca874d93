#pragma once
/// @file
/// Debug output and double-byte text under the published names. Any thread. Texts are in the layer's code
/// page (platform::SetCodePage) and end with a zero byte; none may be null but that of OutputDebugStringA.

#include "platform/posix/types.h"

/// Passes a text to the debugger: here to the sink of platform::SetDebugSink, if there is one. Null does
/// nothing.
CMM_API void OutputDebugStringA(LPCSTR text);

/// Compares the first @p count bytes of two strings, character by character. A lead byte whose second byte is
/// missing ends its string.
/// @return 0: equal
/// @return -1: @p one comes first
/// @return 1: @p other comes first
CMM_API int _mbsnbcmp(const unsigned char* one, const unsigned char* other, std::size_t count);

/// @return TRUE: @p byte begins a double-byte character
/// @return FALSE: it does not; always so in code pages other than 932
CMM_API BOOL IsDBCSLeadByte(BYTE byte);

/// @return the character after the one that @p text points at; @p text itself at the terminator. A lead byte
///         directly before the terminator is a character of one byte
CMM_API LPSTR CharNextA(LPCSTR text);

/// Copies the first @p count bytes of a string. A shorter string is filled up with zeros, and so is the byte
/// of a lead byte whose second byte is missing or does not fit. No terminator follows them.
/// @param to the caller's, of @p count bytes
/// @return @p to
CMM_API unsigned char* _mbsnbcpy(unsigned char* to, const unsigned char* from, std::size_t count);
