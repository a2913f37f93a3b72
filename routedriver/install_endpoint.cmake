# What authors of backend programs install: the library, its headers, and how pkg-config and CMake find them.
# Both find the rest from where they themselves stand, so that the installed tree may be moved.
include(CMakePackageConfigHelpers)

set(cmake_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vrdx_endpoint)
set(pkg_config_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set_target_properties(vrdx_endpoint PROPERTIES EXPORT_NAME endpoint)
install(TARGETS vrdx_endpoint EXPORT vrdx_endpoint_targets ARCHIVE COMPONENT development)
install(FILES router/message.h router/endpoint.h router/endpoint_requests.h router/endpoint_reports.h
    ${CMAKE_SOURCE_DIR}/framework/vrdx_utils/router_limits.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vrdx COMPONENT development)

install(EXPORT vrdx_endpoint_targets NAMESPACE vrdx::
  DESTINATION ${cmake_package_dir} COMPONENT development)
configure_package_config_file(
  ${CMAKE_SOURCE_DIR}/packaging/vrdx_endpoint-config.cmake.in vrdx_endpoint-config.cmake
  INSTALL_DESTINATION ${cmake_package_dir})
write_basic_package_version_file(vrdx_endpoint-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vrdx_endpoint-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vrdx_endpoint-config-version.cmake
  DESTINATION ${cmake_package_dir} COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkg_config_dir} OUTPUT_VARIABLE include_dir_from_pkg_config)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkg_config_dir} OUTPUT_VARIABLE library_dir_from_pkg_config)
configure_file(${CMAKE_SOURCE_DIR}/packaging/vrdx-endpoint.pc.in vrdx-endpoint.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vrdx-endpoint.pc
  DESTINATION ${pkg_config_dir} COMPONENT development)
