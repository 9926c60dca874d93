#pragma once
/// @file
/// Messages to the one control that there is here, the combo box of platform::CreateComboBox.

#include "platform/posix/types.h"

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

inline constexpr UINT CB_ADDSTRING = 0x0143;     ///< LPARAM: text. Gives the row.
inline constexpr UINT CB_GETCOUNT = 0x0146;      ///< Gives the number of rows.
inline constexpr UINT CB_GETLBTEXT = 0x0148;     ///< WPARAM: row, LPARAM: room. Gives the length, as below.
inline constexpr UINT CB_GETLBTEXTLEN = 0x0149;  ///< WPARAM: row. Gives its text's length, without the zero.
inline constexpr UINT CB_GETITEMDATA = 0x0150;   ///< WPARAM: row. Gives its data.
inline constexpr UINT CB_SETITEMDATA = 0x0151;   ///< WPARAM: row, LPARAM: data. Gives CB_OKAY.

inline constexpr LRESULT CB_OKAY = 0;
inline constexpr LRESULT CB_ERR = -1;
inline constexpr LRESULT CB_ERRSPACE = -2;

/// Sends a message and gives the control's answer. Any thread.
/// @return as listed with the messages; CB_ERR: no such row, or a null text; CB_ERRSPACE: memory is short;
///         0 for another message, or a window that is not there
CMM_API LRESULT SendMessageA(HWND window, UINT message, WPARAM first, LPARAM second);
