# What `cmake --install` puts into the prefix: the libraries, the headers, a CMake package and a
# pkg-config file. Headers keep their paths below include/physical_to_exec.
include(CMakePackageConfigHelpers)

install(TARGETS physical_to_exec qd_model qd_kernel_api qd_kernel qdcoredb qddbmetalayer
        EXPORT physical_to_execTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT physical_to_execTargets NAMESPACE physical_to_exec::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/physical_to_exec)

install(DIRECTORY src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/physical_to_exec
        FILES_MATCHING PATTERN "*.h")
install(FILES embedded/dbmetalayer/database.h embedded/dbmetalayer/error.h
              embedded/dbmetalayer/export.h embedded/dbmetalayer/value.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/physical_to_exec/dbmetalayer)

configure_package_config_file(cmake/physical_to_execConfig.cmake.in physical_to_execConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/physical_to_exec)
write_basic_package_version_file(
  "${CMAKE_CURRENT_BINARY_DIR}/physical_to_execConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/physical_to_execConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/physical_to_execConfigVersion.cmake"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/physical_to_exec)

configure_file(cmake/physical_to_exec.pc.in physical_to_exec.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/physical_to_exec.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
