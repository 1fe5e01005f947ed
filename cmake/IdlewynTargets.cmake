# The shapes of targets: floors of the library, programs, tests.

# idlewyn_floor(NAME SOURCES a.cpp ... [USES other floors] [LINKS libraries])
# One OBJECT library a folder. Uses give include order and libraries, not objects.
function(idlewyn_floor name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;LINKS" ${ARGN})
  add_library(idlewyn_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(idlewyn_${name} PUBLIC ${PROJECT_SOURCE_DIR}
                             ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(idlewyn_${name} PUBLIC Boost::headers Threads::Threads
                        PRIVATE idlewyn_flags ${ARG_LINKS})
  set_property(GLOBAL APPEND PROPERTY IDLEWYN_CORE_FLOORS idlewyn_${name})
  set_property(GLOBAL APPEND PROPERTY IDLEWYN_CORE_LINKS ${ARG_LINKS})
endfunction()

# idlewyn_test(NAME SOURCES a.cpp ... [LINKS libraries] [LABELS labels])
# One GoogleTest program over the library's objects, so that it reaches internals.
function(idlewyn_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE idlewyn_core_static idlewyn_flags GTest::gtest_main
                        ${ARG_LINKS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE
    IDLEWYN_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data")
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
