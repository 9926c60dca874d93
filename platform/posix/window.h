#pragma once
/// @file
/// Messages to the one control that the layer has, the combo box of platform::CreateComboBox. Rows count from
/// 0, in the order in which they were added. Any thread.

#include "platform/posix/types.h"

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

inline constexpr UINT CB_ADDSTRING = 0x0143;     ///< LPARAM: text, copied. Gives the row.
inline constexpr UINT CB_GETCOUNT = 0x0146;      ///< Gives the number of rows.
inline constexpr UINT CB_GETLBTEXT = 0x0148;     ///< WPARAM: row, LPARAM: buffer. Length, as below.
inline constexpr UINT CB_GETLBTEXTLEN = 0x0149;  ///< WPARAM: row. Gives its bytes without the zero.
inline constexpr UINT CB_GETITEMDATA = 0x0150;   ///< WPARAM: row. Gives its data.
inline constexpr UINT CB_SETITEMDATA = 0x0151;   ///< WPARAM: row, LPARAM: data. Gives CB_OKAY.

inline constexpr LRESULT CB_OKAY = 0;
inline constexpr LRESULT CB_ERR = -1;
inline constexpr LRESULT CB_ERRSPACE = -2;

/// Sends a message to a combo box. CB_GETLBTEXT writes the text and its zero, so the caller's buffer has one
/// byte more than CB_GETLBTEXTLEN gives.
/// @return the answer, as listed with the messages
/// @return CB_ERR: no such row, or a null text or buffer
/// @return CB_ERRSPACE: memory is short
/// @return 0: another message, or no combo box
CMM_API LRESULT SendMessageA(HWND window, UINT message, WPARAM first, LPARAM second);
