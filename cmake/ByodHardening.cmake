# SPDX-License-Identifier: Apache-2.0
# Guards against overwritten memory, in everything that is installed: tests/abi/hardening_test.py
# checks the programs and libraries for them. Sanitizers and coverage have their own.

option(BYOD_HARDEN "Compile and link with guards against overwritten memory" ON)
if(BYOD_SANITIZE OR BYOD_COVERAGE)
  set(BYOD_HARDEN OFF)
endif()

if(BYOD_HARDEN)
  include(CheckCXXCompilerFlag)
  set(BYOD_GUARDS -fstack-protector-strong)
  check_cxx_compiler_flag(-fstack-clash-protection BYOD_HAS_STACK_CLASH_PROTECTION)
  if(BYOD_HAS_STACK_CLASH_PROTECTION)
    list(APPEND BYOD_GUARDS -fstack-clash-protection)
  endif()
  check_cxx_compiler_flag(-fcf-protection=full BYOD_HAS_CF_PROTECTION) # on x86
  if(BYOD_HAS_CF_PROTECTION)
    list(APPEND BYOD_GUARDS -fcf-protection=full)
  endif()

  # Where the packager has not chosen it, and only with optimisation, which it needs.
  if(NOT "${CMAKE_CXX_FLAGS} ${CMAKE_C_FLAGS}" MATCHES "FORTIFY_SOURCE" AND
      CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    set(BYOD_FORTIFY ON)
    if(BYOD_PROGRAM_OPTIONS MATCHES "-O0")
      list(APPEND BYOD_PROGRAM_OPTIONS -U_FORTIFY_SOURCE)
    endif()
  endif()
endif()

# byod_harden(target): these guards, for a target that is installed or a part of one.
function(byod_harden target)
  if(NOT BYOD_HARDEN)
    return()
  endif()
  target_compile_options(${target} PRIVATE ${BYOD_GUARDS})
  if(BYOD_FORTIFY)
    target_compile_definitions(${target} PRIVATE _FORTIFY_SOURCE=3)
  endif()
  target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
endfunction()
