# SPDX-License-Identifier: Apache-2.0
# Which tests an emulated machine leaves out: reads tests/emulation.txt.

set(BYOD_TEST_TIMEOUT 300 CACHE STRING "Seconds that a test may take")

set(left_out_tests)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  file(STRINGS ${PROJECT_SOURCE_DIR}/tests/emulation.txt lines REGEX "^[^#]")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/tests/emulation.txt)
  foreach(line IN LISTS lines)
    if(NOT line MATCHES "^([a-z0-9,]+) +([A-Za-z0-9_]+)(:([A-Za-z0-9_./*]+))? +- [^ ]")
      message(FATAL_ERROR "tests/emulation.txt: not understood: ${line}")
    endif()
    set(test ${CMAKE_MATCH_2})
    set(case "${CMAKE_MATCH_4}")
    string(REPLACE "," ";" machines ${CMAKE_MATCH_1})
    if("all" IN_LIST machines OR BYOD_MACHINE IN_LIST machines)
      if(case STREQUAL "")
        list(APPEND left_out_tests ${test})
      else()
        list(APPEND left_out_cases_${test} ${case})
      endif()
    endif()
  endforeach()
endif()
list(JOIN left_out_tests " " left_out_tests)
file(WRITE ${PROJECT_BINARY_DIR}/CTestCustom.cmake
  "set(CTEST_CUSTOM_TESTS_IGNORE ${left_out_tests})\n")

# byod_leave_out_cases(test): those cases of a GoogleTest program that this machine leaves out.
function(byod_leave_out_cases test)
  if(left_out_cases_${test})
    list(JOIN left_out_cases_${test} ":" filter)
    set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT "GTEST_FILTER=-${filter}")
  endif()
endfunction()
