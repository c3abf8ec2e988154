# SPDX-License-Identifier: Apache-2.0
# What the machines' toolchain files share. Each sets BYOD_MACHINE, the name of its file,
# BYOD_TRIPLET, the prefix of Debian's cross compiler, BYOD_LIBRARIES, the folder of its libraries
# where that has another name, and BYOD_EMULATOR where it needs one, then includes this.
#
# Headers and libraries come from build/cross-root/<machine>, which scripts/cross-root.sh fills.
# Programs run with them too: under qemu-user with that folder for their root, or on their own with
# the loader and the libraries that are named in them.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${BYOD_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${BYOD_TRIPLET}-g++)

get_filename_component(BYOD_TOP ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
get_filename_component(BYOD_TOP ${BYOD_TOP} DIRECTORY)
set(CMAKE_SYSROOT ${BYOD_TOP}/build/cross-root/${BYOD_MACHINE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
if(NOT DEFINED BYOD_LIBRARIES)
  set(BYOD_LIBRARIES ${BYOD_TRIPLET})
endif()
set(folders lib/${BYOD_LIBRARIES} lib share)
list(TRANSFORM folders REPLACE "(.+)" "${CMAKE_SYSROOT}/usr/\\1/pkgconfig")
list(JOIN folders ":" folders)
set(ENV{PKG_CONFIG_LIBDIR} ${folders})

if(DEFINED BYOD_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${BYOD_EMULATOR} -L ${CMAKE_SYSROOT})
else()
  # As the older DT_RPATH, which also finds what the libraries need.
  set(loader -Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/ld-linux.so.2)
  set(folders lib/${BYOD_LIBRARIES} usr/lib/${BYOD_LIBRARIES} usr/lib)
  list(TRANSFORM folders PREPEND ${CMAKE_SYSROOT}/)
  list(JOIN folders ":" folders)
  set(CMAKE_EXE_LINKER_FLAGS_INIT "${loader} -Wl,--disable-new-dtags,-rpath,${folders}")
endif()
