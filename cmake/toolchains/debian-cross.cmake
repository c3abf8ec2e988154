# What the machines' toolchain files share. Each sets BYOD_MACHINE, the name of its file,
# BYOD_TRIPLET, the prefix of Debian's cross compiler, and BYOD_EMULATOR, then includes this.
#
# Headers and libraries come from build/cross-root/<machine>, which scripts/cross-root.sh fills;
# programs run under qemu-user with the same folder for their root.

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
set(folders lib/${BYOD_TRIPLET} lib share)
list(TRANSFORM folders REPLACE "(.+)" "${CMAKE_SYSROOT}/usr/\\1/pkgconfig")
list(JOIN folders ":" folders)
set(ENV{PKG_CONFIG_LIBDIR} ${folders})

set(CMAKE_CROSSCOMPILING_EMULATOR ${BYOD_EMULATOR} -L ${CMAKE_SYSROOT})
