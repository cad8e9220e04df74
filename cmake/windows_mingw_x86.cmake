# 32-bit Windows with Debian's g++-mingw-w64-i686. Nothing runs its programs: there is no 32-bit Wine.
set(VELA_MINGW i686-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR x86)
include(${CMAKE_CURRENT_LIST_DIR}/windows_mingw_base.cmake)
