# SPDX-License-Identifier: Apache-2.0
# libbyod.so: the modules' objects, exporting the names of libbyod.map and no others.

set(BYOD_EXPORTS ${PROJECT_SOURCE_DIR}/cmake/libbyod.map)
get_property(modules GLOBAL PROPERTY BYOD_MODULES)
set(objects)
foreach(module IN LISTS modules)
  list(APPEND objects $<TARGET_OBJECTS:${module}>)
endforeach()

add_library(byod SHARED ${objects})
add_library(byod::byod ALIAS byod)
set_target_properties(byod PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${BYOD_EXPORTS} LINKER_LANGUAGE CXX)
target_include_directories(byod PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/byod>)
# The messages of byod_tlv.h are made by the platform library: who installs one gets both.
target_link_libraries(byod PRIVATE lauth INTERFACE $<INSTALL_INTERFACE:byod::lauth>)
target_link_options(byod PRIVATE -Wl,--version-script=${BYOD_EXPORTS} -Wl,--gc-sections)
byod_harden(byod)
if(NOT BYOD_SANITIZE) # whose runtime is in the program
  target_link_options(byod PRIVATE -Wl,-z,defs)
endif()

# byod::protocol: the headers in protocol/, for a client that asks what our own front end asks.
add_library(byod_protocol INTERFACE)
add_library(byod::protocol ALIAS byod_protocol)
set_target_properties(byod_protocol PROPERTIES EXPORT_NAME protocol)
target_include_directories(byod_protocol INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/byod>)
target_link_libraries(byod_protocol INTERFACE byod lauth)
