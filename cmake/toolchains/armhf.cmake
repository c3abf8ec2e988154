# 32 bits, little-endian.
set(BYOD_MACHINE armhf)
set(BYOD_TRIPLET arm-linux-gnueabihf)
set(BYOD_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
