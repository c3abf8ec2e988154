# SPDX-License-Identifier: Apache-2.0
# 64 bits, big-endian.
set(BYOD_MACHINE s390x)
set(BYOD_TRIPLET s390x-linux-gnu)
set(BYOD_EMULATOR qemu-s390x)
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
