# What an installed copy holds: the libraries, their headers, packages for CMake and pkg-config.
# Everything is relative to the prefix, so that it can be moved.
include(CMakePackageConfigHelpers)

set(IDLEWYN_COMPONENTS Core)
set(IDLEWYN_WITHOUT ui gtk platform/view UI.hpp)
if(IDLEWYN_UI)
  list(APPEND IDLEWYN_COMPONENTS UI)
  list(REMOVE_ITEM IDLEWYN_WITHOUT ui platform/view UI.hpp)
endif()
if(IDLEWYN_GTK)
  list(APPEND IDLEWYN_COMPONENTS Gtk)
  list(REMOVE_ITEM IDLEWYN_WITHOUT gtk)
endif()

file(RELATIVE_PATH IDLEWYN_PREFIX_FROM_PC
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
# Shared libraries bring what they need; archives leave it to who links them.
if(IDLEWYN_STATIC)
  set(IDLEWYN_PC_CORE "libcurl openssl simdjson libutf8proc sqlite3")
  set(IDLEWYN_PC_UI "cairo cairo-svg cairo-pdf cairo-png pangocairo pangoft2 harfbuzz icu-i18n icu-uc")
endif()
foreach(component IN LISTS IDLEWYN_COMPONENTS)
  string(TOLOWER ${component} lower)
  install(TARGETS IdlewynKit${component} EXPORT IdlewynKit${component}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  set_target_properties(IdlewynKit${component} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(EXPORT IdlewynKit${component}Targets NAMESPACE IdlewynKit::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/IdlewynKit)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/idlewynkit-${lower}.pc.in
    ${PROJECT_BINARY_DIR}/idlewynkit-${lower}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/idlewynkit-${lower}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/licenses/idlewynkit)

# Loaded at run time from the folder beside the library.
install(TARGETS idlewyn_secretservice LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/idlewynkit)

set(excluded PATTERN internal EXCLUDE)
foreach(part IN LISTS IDLEWYN_WITHOUT ITEMS platform/sqlite)
  list(APPEND excluded REGEX "IdlewynKit/${part}(/|$)" EXCLUDE)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/IdlewynKit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.hpp" ${excluded})
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
