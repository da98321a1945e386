# Debian packages with CPack (cpack -G DEB in a build configured with
# CMAKE_INSTALL_PREFIX=/usr): libquilkova1, libquilkova-dev, quilkova-tools.
set(CPACK_PACKAGE_NAME quilkova)
set(CPACK_PACKAGE_VENDOR "The libquilkova developers")
set(CPACK_PACKAGE_CONTACT "libquilkova developers <quilkova@quillion.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Our own libraries are found in the build tree; the dependencies on them are stated below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://quillion.example/quilkova")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquilkova1)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
configure_file(${PROJECT_SOURCE_DIR}/cmake/triggers ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers COPYONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "library binding a storage appliance to its owner's cloud account
libquilkova logs the appliance in and out, keeps the account record, refreshes
it from the account service and obtains OAuth 2.0 PKCE tokens for the
appliance, its packages and the monitoring service. This package holds the
library and the generic-Linux platform library it runs on.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libquilkova-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libquilkova1 (= ${PROJECT_VERSION}), libjsoncpp-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "development files for libquilkova
Headers of the flat and the class interface, the CMake package
(find_package(quilkova)) and the pkg-config file (pkg-config quilkova).")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quilkova-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libquilkova1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "quilkova program and account-service simulator
/usr/quil/bin/quilkova runs the scheduled report and lets an administrator log
the appliance in and out, print tokens, query, register and update the
account. quilkova-sim simulates the cloud service on the loopback interface.")

# Every package carries its copyright and changelog.
string(TIMESTAMP QUILKOVA_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component runtime dev tools)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog @ONLY)
  execute_process(COMMAND gzip -9nf ${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright ${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()

include(CPack)
