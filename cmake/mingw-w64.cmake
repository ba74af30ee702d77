# Builds for 64-bit Windows with Debian's MinGW-w64 (posix threads) and runs what it built with Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(kest_prefix x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${kest_prefix}-gcc-posix)
set(CMAKE_CXX_COMPILER ${kest_prefix}-g++-posix)
set(CMAKE_RC_COMPILER ${kest_prefix}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${kest_prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# A host names the folder where Kest is installed with CMAKE_PREFIX_PATH, as in a native build.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/under-wine.sh)
