# 32-bit ARM Linux without a floating-point unit (Debian's g++-arm-linux-gnueabi): the device's word
# sizes and alignment rules, on a system where the result can be run (qemu-user).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_CXX_FLAGS_INIT "-march=armv5te -mfloat-abi=soft")
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
