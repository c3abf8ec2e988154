# SPDX-License-Identifier: Apache-2.0
# 32 bits, big-endian.
set(BYOD_MACHINE powerpc)
set(BYOD_TRIPLET powerpc-linux-gnu)
set(BYOD_EMULATOR qemu-ppc)
set(CMAKE_SYSTEM_PROCESSOR ppc)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
