# Toolchain file for 64-bit Windows.
set(CMM_MINGW_ARCH x86_64)
set(CMM_WINE_WIDTH 64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
