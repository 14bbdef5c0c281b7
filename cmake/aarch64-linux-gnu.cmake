# SPDX-License-Identifier: MIT
# Cross-compiles for 64-bit Arm with Debian's g++-aarch64-linux-gnu. Tests run under qemu-user when
# it is installed; without it they are built only.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Libraries of the build machine must not be taken; headers may be shared between architectures.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /usr/lib/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)

find_program(ZV_QEMU NAMES qemu-aarch64-static qemu-aarch64)
if(ZV_QEMU)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ZV_QEMU} -L /usr/aarch64-linux-gnu)
endif()
