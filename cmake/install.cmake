# Installation: libraries, public headers, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS quilkova quilplatform
  EXPORT quilkovaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/quilkova DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY platform/include/quilplatform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(QUILKOVA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/quilkova)
install(EXPORT quilkovaTargets NAMESPACE quilkova:: DESTINATION ${QUILKOVA_CMAKE_DIR})
configure_package_config_file(cmake/quilkovaConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfig.cmake
  INSTALL_DESTINATION ${QUILKOVA_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/quilkovaConfigVersion.cmake
        DESTINATION ${QUILKOVA_CMAKE_DIR})

# Relative to the .pc file, so that an install moved to another prefix still works.
file(RELATIVE_PATH QUILKOVA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/quilkova.pc.in ${CMAKE_CURRENT_BINARY_DIR}/quilkova.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quilkova.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
