# Cross build for the camera's 32-bit little-endian MIPS processor, run under
# qemu-mipsel with the cross toolchain's libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)

set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
set(KQ_MIPS_RUNTIME /usr/mipsel-linux-gnu)

set(CMAKE_FIND_ROOT_PATH ${KQ_MIPS_RUNTIME} ${KQ_MIPS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel -L ${KQ_MIPS_RUNTIME})
