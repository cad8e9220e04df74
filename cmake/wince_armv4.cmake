# The device: Windows CE 4.20 on ARMv4 (32-bit, little-endian, no floating-point unit, no unaligned
# access, no Thumb), with Debian's gcc-arm-none-eabi and libstdc++-arm-none-eabi-newlib. What is
# linked is an ELF image; scripts/wince/elf_to_pe.py makes the DLL of it.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
set(CMAKE_ASM_COMPILER arm-none-eabi-gcc)
# There is no system to link a test program for.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(VELA_WINDOWS_CE ON)

# No type information: exceptions work without it, and the image is 5 kB smaller.
set(device_flags "-march=armv4 -marm -mfloat-abi=soft")
set(CMAKE_ASM_FLAGS_INIT "${device_flags}")
set(CMAKE_CXX_FLAGS_INIT "${device_flags} -fno-rtti -fno-common -DVELA_WINDOWS_CE")

set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
