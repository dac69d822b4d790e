# What `cmake --install` puts under the prefix:
#   bin/tessaroc                          the program
#   lib/libtessaroc.{a,so}                the library (every layer)
#   include/tessaroc/...                  the public headers
#   lib/cmake/Tessaroc/                   find_package(Tessaroc) -> Tessaroc::tessaroc
#   lib/pkgconfig/tessaroc.pc             pkg-config --cflags --libs tessaroc
#   share/tessaroc/modules/...            the description resources, for
#                                         TESSAROC_RESOURCES or SetResourceFolder
include(CMakePackageConfigHelpers)
set(TESSAROC_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Tessaroc)

install(TARGETS tessaroc_library EXPORT TessarocTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS tessaroc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tessaroc ${PROJECT_BINARY_DIR}/include/tessaroc
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/resources/ DESTINATION ${CMAKE_INSTALL_DATADIR}/tessaroc)

install(EXPORT TessarocTargets NAMESPACE Tessaroc:: DESTINATION ${TESSAROC_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TessarocConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TessarocConfig.cmake INSTALL_DESTINATION ${TESSAROC_CMAKE_DIR})
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TessarocConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TessarocConfig.cmake ${PROJECT_BINARY_DIR}/TessarocConfigVersion.cmake
        DESTINATION ${TESSAROC_CMAKE_DIR})

# tessaroc.pc names its prefix relative to where it lies, so an installed tree
# can be moved; the libraries libtessaroc.a needs come through --static.
file(RELATIVE_PATH TESSAROC_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" TESSAROC_PC_TO_PREFIX "${TESSAROC_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/tessaroc.pc.in ${PROJECT_BINARY_DIR}/tessaroc.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessaroc.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
