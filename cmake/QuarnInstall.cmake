include(CMakePackageConfigHelpers)

# Components of an installation; the packages of QuarnPackages follow them. `runtime` and `sim-runtime` are the shared
# libraries, `development` everything that building against them needs, `tools` the example unit and its companion.
set(quarn_cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/quarn)

foreach(part IN ITEMS quarn sim)
  set(prefix "")
  set(target quarn)
  if(part STREQUAL sim)
    set(prefix sim-)
    set(target quarn_sim)
  endif()
  install(TARGETS ${target} EXPORT ${target}
    RUNTIME COMPONENT ${prefix}runtime
    LIBRARY COMPONENT ${prefix}runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
  install(EXPORT ${target} FILE ${part}Targets.cmake NAMESPACE quarn:: DESTINATION ${quarn_cmake_folder}
    COMPONENT development)
endforeach()
install(DIRECTORY include/quarn sim/include/quarn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

configure_package_config_file(cmake/quarnConfig.cmake.in ${PROJECT_BINARY_DIR}/quarnConfig.cmake
  INSTALL_DESTINATION ${quarn_cmake_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quarnConfig.cmake ${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake
  DESTINATION ${quarn_cmake_folder} COMPONENT development)

# The pkg-config files find the installation from where they lie, so that it can be moved.
file(RELATIVE_PATH quarn_pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" quarn_pc_prefix "${quarn_pc_prefix}")
set(quarn_pc_needs "tinyxml2")
set(quarn_pc_needs_static "libgpiod >= 1.6, libgpiod < 2")
if(NOT BUILD_SHARED_LIBS)  # then nobody has to say --static
  string(APPEND quarn_pc_needs ", ${quarn_pc_needs_static}")
  set(quarn_pc_needs_static "")
endif()
foreach(file IN ITEMS quarn.pc quarn-sim.pc)
  configure_file(cmake/${file}.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

if(QUARN_BUILD_EXAMPLES)
  install(TARGETS quarn-unit quarn-ctl RUNTIME COMPONENT tools)
  install(FILES packaging/systemd/quarn-unit.service packaging/default/quarn-unit examples/board.conf
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT tools)
  install(PROGRAMS packaging/init.d/quarn-unit DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/init.d COMPONENT tools)
endif()
