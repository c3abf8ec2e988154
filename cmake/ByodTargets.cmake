# SPDX-License-Identifier: Apache-2.0
# One function for each kind of target.

# byod_warnings(target): the warnings that every piece of our own code is clean of.
function(byod_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(BYOD_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# byod_strict_warnings(target): what is installed is held to these besides, and has guards.
function(byod_strict_warnings target)
  byod_warnings(${target})
  target_compile_options(${target} PRIVATE -Wconversion -Wshadow)
  byod_harden(${target})
endfunction()

# byod_measured(target): counts the target's lines and branches in a build that measures coverage.
function(byod_measured target)
  if(BYOD_COVERAGE)
    # Tests run side by side and in threads.
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
  endif()
endfunction()

# byod_module(name SOURCES...): one folder of the library. Its objects are linked into libbyod.so,
# and by tests that look at what the library does not export.
function(byod_module name)
  add_library(byod_${name} OBJECT ${ARGN})
  target_include_directories(byod_${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
  target_compile_options(byod_${name} PRIVATE
    -fvisibility=hidden -ffunction-sections -fdata-sections
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fvisibility-inlines-hidden>)
  byod_strict_warnings(byod_${name})
  byod_measured(byod_${name})
  set_property(GLOBAL APPEND PROPERTY BYOD_MODULES byod_${name})
endfunction()

# byod_component(name SOURCES...): byod_<name>, a static library that the programs share. It reaches
# the identification core through the exported names of libbyod.so only.
function(byod_component name)
  add_library(byod_${name} STATIC ${ARGN})
  target_include_directories(byod_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(byod_${name} PUBLIC byod)
  byod_strict_warnings(byod_${name})
endfunction()

# byod_program(name SOURCES... [LIBS libraries]): a program, installed where it finds the libraries.
function(byod_program name)
  cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} byod)
  target_compile_options(${name} PRIVATE ${BYOD_PROGRAM_OPTIONS})
  set_target_properties(${name} PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  byod_strict_warnings(${name})
  set_property(GLOBAL APPEND PROPERTY BYOD_PROGRAMS ${name})
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()

# byod_command(program variable): how a test starts this program: its file or, where it is of another
# machine, commands/<program> in the build folder, a script in whose place the emulator runs it. The
# script is there in every build, for a test that takes the programs of two.
function(byod_command program variable)
  set(script ${PROJECT_BINARY_DIR}/commands/${program})
  get_property(generated GLOBAL PROPERTY BYOD_COMMANDS)
  if(NOT program IN_LIST generated)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    file(GENERATE OUTPUT ${script}
      CONTENT "#!/bin/sh\nexec ${emulator} \"$<TARGET_FILE:${program}>\" \"$@\"\n"
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
        WORLD_READ WORLD_EXECUTE)
    set_property(GLOBAL APPEND PROPERTY BYOD_COMMANDS ${program})
  endif()
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} ${script} PARENT_SCOPE)
  else()
    set(${variable} $<TARGET_FILE:${program}> PARENT_SCOPE)
  endif()
endfunction()

# byod_test_settings(target): what all test programs are built with. The libraries under test are
# optimised; optimising the tests as well would take most of a build's time.
function(byod_test_settings target)
  # Where they are optimised, g++ 12 warns of faults inside std::string that are not there.
  target_compile_options(${target} PRIVATE ${BYOD_TEST_OPTIONS}
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread
    -Wno-restrict -Wno-maybe-uninitialized>)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    target_compile_definitions(${target} PRIVATE BYOD_EMULATED)
  endif()
  target_link_libraries(${target} PRIVATE GTest::gmock GTest::gtest_main ${CMAKE_DL_LIBS})
  byod_warnings(${target})
endfunction()

# byod_test(name [LONG] SOURCES... [LIBS libraries]): one test program under CTest. LONG is for one
# that computes for seconds: it is optimised in every build, and begins before the others.
function(byod_test name)
  cmake_parse_arguments(ARG "LONG" "" "LIBS" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS})
  byod_test_settings(${name})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${BYOD_TEST_TIMEOUT})
  if(ARG_LONG)
    target_compile_options(${name} PRIVATE -O1)
    set_tests_properties(${name} PROPERTIES COST 100)
  else()
    target_precompile_headers(${name} REUSE_FROM test_headers)
  endif()
  byod_leave_out_cases(${name})
endfunction()
