#pragma once
/// @file
/// The published basic types: names and widths as the platform documents them, in the global namespace.
/// Included by every other header of the layer.

#include <cstddef>
#include <cstdint>

#include "platform/export.h"

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using BOOL = int;
using HRESULT = std::int32_t;
using DWORD_PTR = std::uintptr_t;

using LPVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;

/// An opaque reference to an object of the layer, not a pointer to it. The layer looks up every handle, so a
/// null, closed or foreign one is refused and changes nothing.
using HANDLE = void*;
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(std::intptr_t{-1}))
using HWND = struct HWND__*;

/// The platform's calling convention. It has no counterpart here, but is part of the published signatures.
#define __stdcall

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  friend bool operator==(const GUID&, const GUID&) = default;
};
using LPGUID = GUID*;
using LPCGUID = const GUID*;
using IID = GUID;
using REFIID = const IID&;

// Results of COM and of the capture interfaces.
namespace platform::detail {
constexpr HRESULT Result(std::uint32_t bits) {
  return static_cast<HRESULT>(bits);
}
}  // namespace platform::detail

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = platform::detail::Result(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = platform::detail::Result(0x80004002u);
inline constexpr HRESULT E_POINTER = platform::detail::Result(0x80004003u);
inline constexpr HRESULT E_FAIL = platform::detail::Result(0x80004005u);
inline constexpr HRESULT E_OUTOFMEMORY = platform::detail::Result(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = platform::detail::Result(0x80070057u);
inline constexpr HRESULT RPC_E_CHANGED_MODE = platform::detail::Result(0x80010106u);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = platform::detail::Result(0x80040110u);
