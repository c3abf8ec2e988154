# SPDX-License-Identifier: Apache-2.0
# The API reference in HTML, from the comments of the headers: target docs-api. Needs doxygen, which
# scripts/setup.sh installs when asked to.

find_program(DOXYGEN doxygen)
mark_as_advanced(DOXYGEN)
if(DOXYGEN)
  configure_file(docs/Doxyfile ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
  set(make_reference ${PROJECT_SOURCE_DIR}/scripts/api-reference.sh ${DOXYGEN}
    ${PROJECT_BINARY_DIR}/Doxyfile)
  add_custom_target(docs-api COMMAND ${make_reference} VERBATIM)
else()
  add_custom_target(docs-api
    COMMAND ${CMAKE_COMMAND} -E echo "docs-api: doxygen is missing; scripts/setup.sh docs installs it"
    COMMAND ${CMAKE_COMMAND} -E false VERBATIM)
endif()
