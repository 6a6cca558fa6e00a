# Cross-building for Windows with mingw-w64 (posix threads), for the
# processor the including toolchain file names in SP_MINGW_ARCH.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${SP_MINGW_ARCH})
set(CMAKE_C_COMPILER ${SP_MINGW_ARCH}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${SP_MINGW_ARCH}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${SP_MINGW_ARCH}-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${SP_MINGW_ARCH}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The runtime of the compiler goes into each program and the library, so
# that nothing beside softphone.dll has to be shipped.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
