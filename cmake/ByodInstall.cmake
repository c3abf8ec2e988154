# SPDX-License-Identifier: Apache-2.0
# What an integrator gets: libraries, headers, pkg-config files, a CMake package, and the rules.

include(CMakePackageConfigHelpers)

set_target_properties(byod PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS byod lauth byod_protocol EXPORT byod
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/byod)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/byod FILES_MATCHING PATTERN *.h)
install(DIRECTORY protocol DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/byod FILES_MATCHING PATTERN *.h)
install(DIRECTORY platform/device/ platform/additions/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lauth
  FILES_MATCHING PATTERN *.h)

# byod_pkg_config(name): installs name.pc, which finds the prefix from its own place: it is right after
# DESTDIR, after cmake --install --prefix, and after the whole installation was moved.
function(byod_pkg_config name)
  set(directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(prefix ${CMAKE_INSTALL_PREFIX})
    set(libdir ${CMAKE_INSTALL_FULL_LIBDIR})
    set(includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  else()
    file(RELATIVE_PATH up /${directory} /)
    string(REGEX REPLACE "/$" "" up ${up})
    set(prefix "\${pcfiledir}/${up}")
    set(libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
  endif()
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${directory})
endfunction()
byod_pkg_config(byod)
byod_pkg_config(lauth)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/byod)
install(EXPORT byod NAMESPACE byod:: DESTINATION ${package_dir} FILE byod-targets.cmake)
configure_package_config_file(cmake/byod-config.cmake.in byod-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(byod-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/byod-config.cmake ${PROJECT_BINARY_DIR}/byod-config-version.cmake
  DESTINATION ${package_dir})

# The catalogue, where programs look for it, with the notices that its sources ask for.
install(FILES rules/user-agent.csv rules/dhcp-option.csv rules/mac.csv rules/vendor-alias.csv
  rules/host-name.csv rules/vendor-class.csv rules/brand-category.csv rules/dhcp-client.csv
  rules/evidence.csv rules/successors.csv rules/background-user-agent.csv NOTICE LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/byod/rules)
install(FILES LICENSE NOTICE CHANGELOG.md SECURITY.md README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN *.md)

install(PROGRAMS scripts/byod-update-registry DESTINATION ${CMAKE_INSTALL_SBINDIR})

# byod_install_configured(file directory [name]): installs a file with the paths of the installation in
# it, which cmake --install --prefix may have changed.
function(byod_install_configured file directory)
  get_filename_component(name ${file} NAME)
  string(REGEX REPLACE "\\.in$" "" name ${name})
  if(ARGC GREATER 2)
    set(name ${ARGV2})
  endif()
  install(CODE "
    set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
    foreach(path IN ITEMS bindir=${CMAKE_INSTALL_BINDIR} datadir=${CMAKE_INSTALL_DATADIR}
        libdir=${CMAKE_INSTALL_LIBDIR} libexecdir=${CMAKE_INSTALL_LIBEXECDIR})
      string(REGEX MATCH \"^([a-z]+)=(.*)$\" path \"\${path}\")
      cmake_path(ABSOLUTE_PATH CMAKE_MATCH_2 BASE_DIRECTORY \"\${prefix}\"
        OUTPUT_VARIABLE \${CMAKE_MATCH_1})
    endforeach()
    set(registry \"${BYOD_REGISTRY_DIRECTORY}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/${file}\" \"${PROJECT_BINARY_DIR}/installed/${name}\" @ONLY)")
  install(FILES ${PROJECT_BINARY_DIR}/installed/${name} DESTINATION ${directory})
endfunction()

# What runs the daemon: units, its user and groups, a profile, and a configuration to begin with.
byod_install_configured(integrations/systemd/lauthd.service.in lib/systemd/system)
install(FILES integrations/systemd/lauthd.socket DESTINATION lib/systemd/system)
install(FILES integrations/systemd/lauthd.sysusers DESTINATION lib/sysusers.d RENAME lauthd.conf)
byod_install_configured(integrations/lauthd.conf ${CMAKE_INSTALL_DATADIR}/byod)
byod_install_configured(integrations/apparmor/lauthd.in ${CMAKE_INSTALL_DATADIR}/byod/apparmor)

# Feeds: how other programs report to the daemon.
byod_install_configured(integrations/dnsmasq/byod.conf.in ${CMAKE_INSTALL_DATADIR}/byod/feeds
  dnsmasq.conf)
install(FILES integrations/nginx/byod.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/byod/feeds
  RENAME nginx.conf)
install(FILES integrations/nginx/byod-portal.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/byod/feeds
  RENAME nginx-portal.conf)
install(FILES integrations/systemd/byod-feeds.sysusers DESTINATION lib/sysusers.d
  RENAME byod-feeds.conf)
if(BYOD_CAPTURE)
  byod_install_configured(integrations/systemd/byod-capture@.service.in lib/systemd/system)
endif()
byod_install_configured(integrations/freeradius/byod.in ${CMAKE_INSTALL_DATADIR}/byod/freeradius)
install(FILES integrations/freeradius/byod_radius.py
  DESTINATION ${CMAKE_INSTALL_DATADIR}/byod/freeradius)
if(TARGET dhcp_byod)
  byod_install_configured(integrations/kea/byod.json.in ${CMAKE_INSTALL_DATADIR}/byod/feeds kea.json)
  install(FILES integrations/systemd/byod-feeds-kea.sysusers DESTINATION lib/sysusers.d
    RENAME byod-feeds-kea.conf)
endif()

# Completions, each in the place where its shell looks for it.
install(PROGRAMS integrations/completion/byodctl-complete DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/byod)
byod_install_configured(integrations/completion/byodctl.bash.in
  ${CMAKE_INSTALL_DATADIR}/bash-completion/completions byodctl)
byod_install_configured(integrations/completion/byodctl.zsh.in
  ${CMAKE_INSTALL_DATADIR}/zsh/site-functions _byodctl)
byod_install_configured(integrations/completion/byodctl.fish.in
  ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
