# What authors of client programs install: the library and the one below it, their headers, and how pkg-config and CMake
# find them. Both find the rest from where they themselves stand, so that the installed tree may be moved.
include(CMakePackageConfigHelpers)

set(cmake_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vrdx_packet_client)
set(pkg_config_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set_target_properties(vrdx_packet_client PROPERTIES EXPORT_NAME packet_client)
set_target_properties(vrdx_utils PROPERTIES EXPORT_NAME utils)
install(TARGETS vrdx_packet_client vrdx_utils EXPORT vrdx_packet_client_targets ARCHIVE COMPONENT development)
install(FILES packet_client.h client_asking.h client_connection.h client_features.h client_limits.h client_picture.h client_record.h
    client_take.h client_watch.h
    ${CMAKE_SOURCE_DIR}/framework/vrdx_utils/comm_socket_v4_packet.h
    ${CMAKE_SOURCE_DIR}/framework/vrdx_utils/comm_socket_v4_limits.h
    ${CMAKE_SOURCE_DIR}/framework/vrdx_utils/boot_ms.h
    ${CMAKE_SOURCE_DIR}/framework/vrdx_utils/monotonic_us.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vrdx COMPONENT development)

install(EXPORT vrdx_packet_client_targets NAMESPACE vrdx::
  DESTINATION ${cmake_package_dir} COMPONENT development)
configure_package_config_file(
  ${CMAKE_SOURCE_DIR}/packaging/vrdx_packet_client-config.cmake.in vrdx_packet_client-config.cmake
  INSTALL_DESTINATION ${cmake_package_dir})
write_basic_package_version_file(vrdx_packet_client-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vrdx_packet_client-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vrdx_packet_client-config-version.cmake
  DESTINATION ${cmake_package_dir} COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkg_config_dir} OUTPUT_VARIABLE include_dir_from_pkg_config)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkg_config_dir} OUTPUT_VARIABLE library_dir_from_pkg_config)
configure_file(${CMAKE_SOURCE_DIR}/packaging/vrdx-packet-client.pc.in vrdx-packet-client.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vrdx-packet-client.pc
  DESTINATION ${pkg_config_dir} COMPONENT development)
