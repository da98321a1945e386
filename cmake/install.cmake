# Installation in three components (one Debian package each): the runtime
# libraries, the development files, and the tools with their configuration.
include(CMakePackageConfigHelpers)

install(TARGETS quilkova quilplatform
  EXPORT quilkovaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/quilkova DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(DIRECTORY platform/include/quilplatform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

set(QUILKOVA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/quilkova)
install(EXPORT quilkovaTargets NAMESPACE quilkova:: DESTINATION ${QUILKOVA_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/quilkovaConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfig.cmake
  INSTALL_DESTINATION ${QUILKOVA_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfigVersion.cmake
        DESTINATION ${QUILKOVA_CMAKE_DIR} COMPONENT dev)

# Relative to the .pc file, so that an install moved to another prefix still works.
file(RELATIVE_PATH QUILKOVA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/quilkova.pc.in ${CMAKE_CURRENT_BINARY_DIR}/quilkova.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quilkova.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The appliance's own tree lives under the prefix: /usr/quil/... for prefix /usr.
install(TARGETS quilkova-program RUNTIME DESTINATION quil/bin COMPONENT tools)
install(TARGETS quilkova-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(PROGRAMS platform/tools/quilddnsinfo DESTINATION quil/sbin COMPONENT tools)
install(FILES tools/config/pkce_login.conf tools/config/pkce_register.conf
        DESTINATION quil/etc.defaults/quillion-account/config COMPONENT tools)
configure_file(tools/quilkova.1 ${CMAKE_CURRENT_BINARY_DIR}/man/quilkova.1 COPYONLY)
execute_process(COMMAND gzip -9nf ${CMAKE_CURRENT_BINARY_DIR}/man/quilkova.1)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/man/quilkova.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)

include(cmake/packaging.cmake)
