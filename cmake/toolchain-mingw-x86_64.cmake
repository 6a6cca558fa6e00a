# Cross-building for 64-bit Windows with mingw-w64.
set(SP_MINGW_ARCH x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-common.cmake)
