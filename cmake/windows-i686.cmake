# Toolchain file for 32-bit Windows.
set(CMM_MINGW_ARCH i686)
set(CMM_WINE_WIDTH 32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
