# Cross build for Windows with Debian's mingw-w64 compilers, shared by the
# 32-bit and 64-bit toolchain files; they set ZTKRN_MINGW_TARGET first.
#
# The posix-thread flavour of the compilers is used: it has std::thread.
# Everything links statically (libgcc, libstdc++, winpthreads), so the DLL
# and the test programs run under Wine or Windows with no runtime DLLs
# beside them.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 6.1)

set(CMAKE_C_COMPILER ${ZTKRN_MINGW_TARGET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZTKRN_MINGW_TARGET}-g++-posix)
set(CMAKE_RC_COMPILER ${ZTKRN_MINGW_TARGET}-windres)
# The binutils by name: the -posix suffix keeps CMake from guessing them.
set(CMAKE_AR ${ZTKRN_MINGW_TARGET}-ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${ZTKRN_MINGW_TARGET}-ranlib CACHE FILEPATH "")
set(CMAKE_NM ${ZTKRN_MINGW_TARGET}-nm CACHE FILEPATH "")
set(CMAKE_OBJDUMP ${ZTKRN_MINGW_TARGET}-objdump CACHE FILEPATH "")

set(CMAKE_FIND_ROOT_PATH /usr/${ZTKRN_MINGW_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# Test programs are listed when CTest runs, not at build time, so that a
# cross build needs no Windows to finish; where Wine is installed CTest runs
# them with it.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
if(ZTKRN_MINGW_TARGET MATCHES "^x86_64" AND EXISTS /usr/lib/wine/wine64)
  set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
elseif(ZTKRN_MINGW_TARGET MATCHES "^i686" AND EXISTS /usr/lib/wine/wine)
  set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine)
endif()
