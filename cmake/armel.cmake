# 32-bit ARM without a floating point unit: older boards.
set(architecture armel)
set(triplet arm-linux-gnueabi)
set(CMAKE_SYSTEM_PROCESSOR armv5l)
include(${CMAKE_CURRENT_LIST_DIR}/arm.cmake)
