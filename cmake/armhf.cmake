# Debian's 32-bit ARM with hard floating point, the gateway's architecture. The libraries come from
# an unpacked tree of Debian's armhf packages below build/, which is made when it is missing.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

cmake_path(SET sysroot NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot")
execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/armhf-sysroot" "${sysroot}"
    COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_SYSROOT "${sysroot}")
set(CMAKE_FIND_ROOT_PATH "${sysroot}")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${sysroot}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${sysroot}/usr/lib/arm-linux-gnueabihf/pkgconfig:${sysroot}/usr/share/pkgconfig:${sysroot}/usr/lib/pkgconfig")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L "${sysroot}")
