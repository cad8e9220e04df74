# What the toolchain files of 32-bit and 64-bit Windows share. VELA_MINGW is the prefix of the tools.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${VELA_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VELA_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${VELA_MINGW}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${VELA_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Neither a host that loads the plug-in nor a test program need have the compiler's runtime libraries.
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
