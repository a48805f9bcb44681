# A toolchain file for a target's own compiler and sysroot, to be used as it is or as a beginning:
#
#     TARGET_TRIPLET=arm-vendor-linux-gnueabihf TARGET_SYSROOT=/opt/vendor/sysroot \
#     cmake -S . -B build/target -G Ninja -D CMAKE_TOOLCHAIN_FILE=examples/toolchain/target.cmake \
#         -D CMAKE_BUILD_TYPE=Release -D CORVENNA_TESTS=OFF -D CORVENNA_TOOLS=OFF -D CORVENNA_BENCHMARKS=OFF
#
# From the environment, because CMake reads this file anew for every check that it compiles. The
# compiler is found by PATH; further flags (-mcpu=..., -mfloat-abi=...) come as CXXFLAGS.
foreach(name TARGET_TRIPLET TARGET_SYSROOT)
    if("$ENV{${name}}" STREQUAL "")
        message(FATAL_ERROR "${name} is not set in the environment")
    endif()
endforeach()
set(triplet $ENV{TARGET_TRIPLET})
cmake_path(SET sysroot NORMALIZE "$ENV{TARGET_SYSROOT}")

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${triplet})
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

set(CMAKE_SYSROOT "${sysroot}")
set(CMAKE_FIND_ROOT_PATH "${sysroot}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What the build machine has is never the target's: of pkg-config's files the sysroot's alone count.
# A Debian sysroot has a folder of the triplet's, others have none.
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${sysroot}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${sysroot}/usr/lib/${triplet}/pkgconfig:${sysroot}/usr/lib/pkgconfig:${sysroot}/usr/share/pkgconfig")
