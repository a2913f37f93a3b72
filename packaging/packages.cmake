# Three Debian packages: vrdx-routedriver runs routers, vrdx-gateway serves them by HTTP, libvrdx-endpoint-dev is for
# authors of backend and client programs.
set(maintainer "vrdx_routedriver maintainers <maintainers@vrdx-routedriver.invalid>")

# Each package carries its licence and its changelog under its own name.
function(install_package_papers package component)
  set(papers ${CMAKE_CURRENT_BINARY_DIR}/${package})
  configure_file(debian/changelog.in ${papers}/changelog @ONLY)
  compress_file(${papers}/changelog ${papers}/changelog.gz)
  configure_file(${CMAKE_SOURCE_DIR}/LICENSE ${papers}/copyright COPYONLY)
  install(FILES ${papers}/copyright ${papers}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endfunction()
install_package_papers(vrdx-routedriver driver)
install_package_papers(vrdx-gateway gateway)
install_package_papers(libvrdx-endpoint-dev development)

# Tools and gateway carry code of these libraries, whose licences go where that code goes.
foreach(library libcli11-dev nlohmann-json3-dev libboost1.81-dev)
  install(FILES /usr/share/doc/${library}/copyright DESTINATION ${driver_doc_dir}
    RENAME copyright.${library} OPTIONAL)
endforeach()
foreach(library libcli11-dev nlohmann-json3-dev libboost1.81-dev libtomlplusplus-dev)
  install(FILES /usr/share/doc/${library}/copyright DESTINATION ${gateway_doc_dir}
    RENAME copyright.${library} COMPONENT gateway OPTIONAL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT ${maintainer})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL driver gateway development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DRIVER_PACKAGE_NAME vrdx-routedriver)
set(CPACK_DEBIAN_DRIVER_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SECTION net)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SHLIBDEPS ON)
# Either brings what reads sysusers.d and tmpfiles.d, with or without systemd as the service manager.
set(CPACK_DEBIAN_DRIVER_PACKAGE_DEPENDS
  "systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_DRIVER_PACKAGE_SUGGESTS "bash-completion, vrdx-gateway, libvrdx-endpoint-dev")
set(CPACK_DEBIAN_DRIVER_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_DEBIAN_DRIVER_DESCRIPTION "route driver for broadcast facilities
One small, long-running process per hardware video router: it starts and
supervises the backend program that talks to the router, keeps the router's
picture, and serves any number of clients over a Unix socket. A take is shown
at once and rolled back after a second unless the hardware confirms it.
.
The package holds the driver, its backend programs (one of them a simulated
router), the command-line client vrdx_routectl, the check for backend
programs, and the service vrdx-routedriver@NAME.")

set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME vrdx-gateway)
set(CPACK_DEBIAN_GATEWAY_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION net)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_DEPENDS
  "vrdx-routedriver (>= ${PROJECT_VERSION}), systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SUGGESTS "bash-completion, sqlite3")
set(CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/gateway/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/gateway/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/gateway/postrm)
set(CPACK_DEBIAN_GATEWAY_DESCRIPTION "routers of a machine by HTTP and WebSocket
vrdx_gateway shows the routers of vrdx_routedriver to browsers and programs,
and lets them take, each as far as its token may: roles, routers, outputs and
inputs, and locks on outputs, are enforced here.
.
The package holds the gateway and its service vrdx-gateway.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvrdx-endpoint-dev)
set(CPACK_DEBIAN_DEVELOPMENT_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "vrdx-routedriver, pkg-config, cmake")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "libraries for backend and client programs of vrdx_routedriver
The backend's end of the wire to vrdx_routedriver, for programs that make it
drive another kind of router, and the client's end of its socket, for programs
that show routers and take: static libraries with headers, found by pkg-config
and CMake, and examples in C++ and Python.")

include(CPack)
