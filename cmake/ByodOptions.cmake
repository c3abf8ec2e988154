# SPDX-License-Identifier: Apache-2.0
# What a builder may choose, and the settings that every target shares.

# As a part of another project the libraries and programs are all that is built, and a warning of a
# compiler that we do not know stops nobody.
option(BYOD_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(BYOD_BUILD_BENCH "Build the benchmarks" OFF)
option(BYOD_WARNINGS_AS_ERRORS "Treat every warning as an error" ${PROJECT_IS_TOP_LEVEL})
set(BYOD_TRANSPORT unix CACHE STRING "How front ends reach the daemon: unix or device")
set_property(CACHE BYOD_TRANSPORT PROPERTY STRINGS unix device)
set(BYOD_LAUTHD_SOCKET /run/lauthd/lauthd.sock CACHE STRING "The daemon's Unix socket")
set(BYOD_SIGHTINGS_SOCKET /run/lauthd/sightings.sock CACHE STRING
  "The daemon's Unix socket for sightings")
set(BYOD_REGISTRY_DIRECTORY /var/lib/ieee-data CACHE STRING
  "The registry of address prefixes that programs read unless they are given another")
option(BYOD_CAPTURE "Let byodctl read packets, by libpcap and libtins" ON)
option(BYOD_SECCOMP "Let programs that capture refuse themselves system calls; needs libseccomp" ON)
set(BYOD_PROGRAM_OPTIONS "" CACHE STRING "Compiler options for the programs alone")
set(BYOD_TEST_OPTIONS -O0 CACHE STRING "Compiler options for the tests alone")
set(BYOD_SANITIZE "" CACHE STRING "Sanitizers for the whole build, as in -fsanitize=")
option(BYOD_SYSTEMD "Notify systemd when the daemon is ready; needs libsystemd" ON)
option(BYOD_COVERAGE "Instrument the library and the platform for line and branch coverage" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
endif()

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
endif()

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Or looking at a file fails when its number or its times need more than 32 bits.
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(BYOD_SANITIZE)
  add_compile_options(-fsanitize=${BYOD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(BYOD_SANITIZE MATCHES undefined)
    # It opens a pipe to look at an object, and takes a process without descriptors for a fault.
    add_compile_options(-fno-sanitize=vptr)
  endif()
  add_link_options(-fsanitize=${BYOD_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # Programs in C use libraries in C++, whose checks need that part of the runtime too.
    set(BYOD_SANITIZE_C_LINK -fsanitize-link-c++-runtime -lstdc++)
    add_link_options("$<$<LINK_LANGUAGE:C>:${BYOD_SANITIZE_C_LINK}>")
  endif()
endif()

if(BYOD_COVERAGE)
  add_link_options(--coverage) # what is measured is compiled so by byod_measured
endif()
