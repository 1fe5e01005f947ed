# What an installed copy holds: the shared library, its headers, the package for CMake and
# pkg-config. Everything is relative to the prefix, so that it can be moved.
include(CMakePackageConfigHelpers)

install(TARGETS IdlewynKitCore EXPORT IdlewynKitTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(IdlewynKitCore PROPERTIES EXPORT_NAME Core)
install(EXPORT IdlewynKitTargets NAMESPACE IdlewynKit::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/IdlewynKit)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/IdlewynKit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.hpp" PATTERN internal EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/generated/IdlewynKit/Version.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/IdlewynKit)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/IdlewynKitConfig.cmake.in
  ${PROJECT_BINARY_DIR}/IdlewynKitConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/IdlewynKit)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/IdlewynKitConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/IdlewynKitConfig.cmake
  ${PROJECT_BINARY_DIR}/IdlewynKitConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/IdlewynKit)

file(RELATIVE_PATH IDLEWYN_PREFIX_FROM_PC
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/idlewynkit-core.pc.in
  ${PROJECT_BINARY_DIR}/idlewynkit-core.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/idlewynkit-core.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
