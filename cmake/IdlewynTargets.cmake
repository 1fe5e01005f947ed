# The shapes of targets: floors of the library, programs, tests.

# idlewyn_floor(NAME SOURCES a.cpp ... [LINKS libraries] [LIBRARY CORE|UI|GTK])
# One OBJECT library a folder, part of one of the shared libraries; CORE unless told.
function(idlewyn_floor name)
  cmake_parse_arguments(ARG "" "LIBRARY" "SOURCES;LINKS" ${ARGN})
  if(NOT ARG_LIBRARY)
    set(ARG_LIBRARY CORE)
  endif()
  add_library(idlewyn_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(idlewyn_${name} PUBLIC ${PROJECT_SOURCE_DIR}
                             ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(idlewyn_${name} PUBLIC Boost::headers Threads::Threads
                        PRIVATE idlewyn_flags ${ARG_LINKS})
  set_property(GLOBAL APPEND PROPERTY IDLEWYN_${ARG_LIBRARY}_FLOORS idlewyn_${name})
  set_property(GLOBAL APPEND PROPERTY IDLEWYN_${ARG_LIBRARY}_LINKS ${ARG_LINKS})
endfunction()

# idlewyn_library(NAME LIBRARY CORE|UI|GTK [DEPENDS other libraries] [PUBLIC_LINKS targets])
# IdlewynKitNAME, which applications link, and idlewyn_name_static of the same objects for our
# own tests and benchmarks, which reach internals.
function(idlewyn_library name)
  cmake_parse_arguments(ARG "" "LIBRARY" "DEPENDS;PUBLIC_LINKS" ${ARGN})
  string(TOLOWER ${name} lower)
  get_property(floors GLOBAL PROPERTY IDLEWYN_${ARG_LIBRARY}_FLOORS)
  get_property(links GLOBAL PROPERTY IDLEWYN_${ARG_LIBRARY}_LINKS)
  list(REMOVE_DUPLICATES links)
  set(objects)
  foreach(floor IN LISTS floors)
    list(APPEND objects $<TARGET_OBJECTS:${floor}>)
  endforeach()

  if(IDLEWYN_STATIC)
    add_library(IdlewynKit${name} STATIC ${objects})
  else()
    add_library(IdlewynKit${name} SHARED ${objects})
    target_link_options(IdlewynKit${name} PRIVATE -Wl,--as-needed
      -Wl,--version-script=${PROJECT_SOURCE_DIR}/IdlewynKit/exports.map)
  endif()
  add_library(IdlewynKit::${name} ALIAS IdlewynKit${name})
  set_target_properties(IdlewynKit${name} PROPERTIES
    OUTPUT_NAME idlewynkit-${lower} VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${name}
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/IdlewynKit/exports.map)
  target_include_directories(IdlewynKit${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(IdlewynKit${name} PUBLIC cxx_std_20)

  add_library(idlewyn_${lower}_static STATIC EXCLUDE_FROM_ALL ${objects})
  target_include_directories(idlewyn_${lower}_static PUBLIC ${PROJECT_SOURCE_DIR}
                             ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(IdlewynKit${name}
    PUBLIC Boost::headers Threads::Threads ${ARG_PUBLIC_LINKS} PRIVATE ${links} ${CMAKE_DL_LIBS})
  target_link_libraries(idlewyn_${lower}_static
    PUBLIC Boost::headers Threads::Threads ${links} ${CMAKE_DL_LIBS})
  foreach(other IN LISTS ARG_DEPENDS)
    string(TOLOWER ${other} other_lower)
    target_link_libraries(IdlewynKit${name} PUBLIC IdlewynKit${other})
    target_link_libraries(idlewyn_${lower}_static PUBLIC idlewyn_${other_lower}_static)
  endforeach()
endfunction()

# idlewyn_test(NAME SOURCES a.cpp ... [LINKS libraries] [LABELS labels])
# One GoogleTest program over the library's objects, so that it reaches internals.
function(idlewyn_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE idlewyn_core_static idlewyn_flags GTest::gtest_main
                        ${ARG_LINKS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
