# 32-bit ARM with hard floating point, the gateway's architecture.
set(architecture armhf)
set(triplet arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/arm.cmake)
