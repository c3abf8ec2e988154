# SPDX-License-Identifier: Apache-2.0
# 32 bits, little-endian. The machine it is built on runs it without an emulator.
set(BYOD_MACHINE i386)
set(BYOD_TRIPLET i686-linux-gnu)
set(BYOD_LIBRARIES i386-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
