# 32-bit Windows (the ZTKRN10N DLL as hosts load it), with mingw-w64.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(ZTKRN_MINGW_TARGET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
