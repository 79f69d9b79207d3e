include(CMakePackageConfigHelpers)

install(TARGETS quarn EXPORT quarnTargets)
install(DIRECTORY include/quarn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT quarnTargets NAMESPACE quarn:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quarn)

configure_package_config_file(cmake/quarnConfig.cmake.in ${PROJECT_BINARY_DIR}/quarnConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quarn)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quarnConfig.cmake ${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quarn)
