# Language, options, warnings and sanitizers: what every target is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

include(CMakeDependentOption)
option(IDLEWYN_UI "Build the views" ${PROJECT_IS_TOP_LEVEL})
cmake_dependent_option(IDLEWYN_GTK "Build the GTK host of the views" ${PROJECT_IS_TOP_LEVEL}
  IDLEWYN_UI OFF)
# A project that builds its libraries as archives gets ours as archives too.
set(static_by_default OFF)
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  set(static_by_default ON)
endif()
option(IDLEWYN_STATIC "Build static libraries" ${static_by_default})
option(IDLEWYN_TOOLS "Build the command and the sandbox relay" ${PROJECT_IS_TOP_LEVEL})
option(IDLEWYN_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(IDLEWYN_INSTALL "Install what is built" ${PROJECT_IS_TOP_LEVEL})
option(IDLEWYN_BENCHMARKS "Build the benchmarks" OFF)
option(IDLEWYN_FUZZ "Build the fuzz targets (clang) or replay their seeds" OFF)
option(IDLEWYN_WERROR "Treat warnings as errors" OFF)
# Developers' builds, which treat warnings as errors, share their compiled objects without it.
cmake_dependent_option(IDLEWYN_HARDENING "Harden Release builds against memory errors" ON
  "PROJECT_IS_TOP_LEVEL;NOT IDLEWYN_WERROR" OFF)
set(IDLEWYN_SANITIZE "" CACHE STRING "Sanitizers of every target: address,undefined or thread")

# -O3 compiles longer and runs no faster.
string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# Two builds of one source are the same, wherever they lie: no path of the build is kept.
if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
endif()
if(IDLEWYN_HARDENING AND NOT IDLEWYN_SANITIZE)
  add_compile_options($<$<CONFIG:Release>:-fstack-protector-strong>
    $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>
    "$<$<CONFIG:Release>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
  add_link_options($<$<CONFIG:Release>:-Wl,-z,relro,-z,now>)
endif()

find_program(IDLEWYN_CCACHE ccache)
if(IDLEWYN_CCACHE AND PROJECT_IS_TOP_LEVEL)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${IDLEWYN_CCACHE})
endif()

# A project that embeds this one installs what is its own.
macro(idlewyn_install)
  if(IDLEWYN_INSTALL)
    install(${ARGV})
  endif()
endmacro()

add_library(idlewyn_flags INTERFACE)
target_compile_options(idlewyn_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
  -Wno-missing-field-initializers  # designated initialisers leave out what is default
  $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>  # a constructor's fields may share names
  $<$<CXX_COMPILER_ID:GNU>:-Wno-mismatched-new-delete>)  # false positives on coroutine frames
if(IDLEWYN_WERROR)
  target_compile_options(idlewyn_flags INTERFACE -Werror)
endif()
if(IDLEWYN_SANITIZE)
  add_compile_options(-fsanitize=${IDLEWYN_SANITIZE} -fno-omit-frame-pointer -g1
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${IDLEWYN_SANITIZE})
endif()
