# Cross-building for 32-bit Windows with mingw-w64.
set(SP_MINGW_ARCH i686)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-common.cmake)
