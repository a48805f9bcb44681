# Debian's 32-bit ARM; `architecture` and `triplet` say which. The libraries come from an unpacked tree
# of that architecture's packages below build/, which is made when it is missing.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

cmake_path(SET sysroot NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/${architecture}-sysroot")
execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/arm-sysroot" ${architecture} "${sysroot}"
    COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_SYSROOT "${sysroot}")
set(CMAKE_FIND_ROOT_PATH "${sysroot}")
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${sysroot}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${sysroot}/usr/lib/${triplet}/pkgconfig:${sysroot}/usr/share/pkgconfig:${sysroot}/usr/lib/pkgconfig")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L "${sysroot}")
