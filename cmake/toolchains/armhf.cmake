# SPDX-License-Identifier: Apache-2.0
# 32 bits, little-endian.
set(BYOD_MACHINE armhf)
set(BYOD_TRIPLET arm-linux-gnueabihf)
set(BYOD_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
# Everything is made by one compiler; how older ones passed parameters does not matter.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
