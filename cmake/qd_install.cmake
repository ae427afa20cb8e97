# What `cmake --install` puts into the prefix: the libraries, the headers, a CMake package and a
# pkg-config file. The prefix can be moved. Headers keep their paths below include/physical_to_exec.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/physical_to_exec)
set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/physical_to_exec)

# The libraries find one another in their own directory.
set_target_properties(physical_to_exec qdcoredb qddbmetalayer PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS physical_to_exec qd_model qd_kernel_api qd_kernel qdcoredb qddbmetalayer
        EXPORT physical_to_execTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT physical_to_execTargets NAMESPACE physical_to_exec:: DESTINATION ${package_dir})

# What callers build plans with, run them with and read rows with; the engine behind `Plan` stays.
foreach(part db_string db_util error_handling kernel like meta_data physical_queryplan)
  install(DIRECTORY src/${part} DESTINATION ${include_dir} FILES_MATCHING PATTERN "*.h")
endforeach()
install(FILES src/physical_to_exec/plan.h DESTINATION ${include_dir}/physical_to_exec)
install(FILES src/sql_executor/enumerator.h src/sql_executor/evaluation_context.h
              src/sql_executor/node.h src/sql_executor/value.h
        DESTINATION ${include_dir}/sql_executor)
install(FILES embedded/dbmetalayer/class_description.h embedded/dbmetalayer/database.h
              embedded/dbmetalayer/error.h
              embedded/dbmetalayer/export.h embedded/dbmetalayer/value.h
        DESTINATION ${include_dir}/dbmetalayer)

configure_package_config_file(cmake/physical_to_execConfig.cmake.in physical_to_execConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  "${CMAKE_CURRENT_BINARY_DIR}/physical_to_execConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/physical_to_execConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/physical_to_execConfigVersion.cmake"
        DESTINATION ${package_dir})

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH path_to_prefix "/prefix/${pkgconfig_dir}" "/prefix")
configure_file(cmake/physical_to_exec.pc.in physical_to_exec.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/physical_to_exec.pc" DESTINATION ${pkgconfig_dir})
