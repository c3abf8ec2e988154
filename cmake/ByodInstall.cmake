# What an integrator gets: libraries, headers, a pkg-config file and a CMake package.

include(CMakePackageConfigHelpers)

set_target_properties(byod PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS byod lauth EXPORT byod
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/byod)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/byod FILES_MATCHING PATTERN *.h)
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lauth
  FILES_MATCHING PATTERN lauth_*.h)

configure_file(cmake/byod.pc.in byod.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/byod.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/byod)
install(EXPORT byod NAMESPACE byod:: DESTINATION ${package_dir} FILE byod-targets.cmake)
configure_package_config_file(cmake/byod-config.cmake.in byod-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(byod-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/byod-config.cmake ${PROJECT_BINARY_DIR}/byod-config-version.cmake
  DESTINATION ${package_dir})
