# The four kinds of target this project has, and the flags they share.
#
#   nexthop_library(NAME [INTERNAL] SOURCES ... DEPENDS ...)   static library nexthop_NAME; an internal
#                                                              one is not installed
#   nexthop_tool(NAME SOURCES ... DEPENDS ...)                 program NAME
#   nexthop_test(NAME SOURCES ... DEPENDS ... [LABELS ...])    GoogleTest program NAME_test, each of
#                                                              its tests known to ctest; part of the
#                                                              target nexthop_tests
#   nexthop_bench(NAME SOURCES ... DEPENDS ...)                Google Benchmark program NAME_bench
#
# DEPENDS takes names of nexthop_library, without the prefix; LIBRARIES takes any other target or
# library. Sources are listed one by one, so that a file that is forgotten fails the link and one
# that is left over is not built. The include root is the repository's root.

include_guard(GLOBAL)
include(GNUInstallDirs)

set(NEXTHOP_INCLUDE_SUBDIR ${CMAKE_INSTALL_INCLUDEDIR}/nexthop-resolver)

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug or Release" FORCE)
  endif()
  find_program(NEXTHOP_CCACHE ccache)
  mark_as_advanced(NEXTHOP_CCACHE)
  if(NEXTHOP_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Without this sloppiness ccache never takes a hit on a source that uses a precompiled header.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${NEXTHOP_CCACHE})
    if(NEXTHOP_PCH)
      add_compile_options($<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    endif()
  endif()
endif()

# Flags of all our code. An interface library, so that a project that embeds us keeps its own.
add_library(nexthop_flags INTERFACE)
target_compile_options(
  nexthop_flags
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wold-style-cast
            -Wredundant-decls
            -Wsuggest-override
            -Wzero-as-null-pointer-constant
            # clang's -Wconversion takes ROUTING_ASSERT(!"text") for a mistake; g++ does not know it.
            -Wno-string-conversion
            # Assertions name a file by its place in the repository, wherever that lies.
            -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
            # A compiler that this project does not know yet is no reason to stop who embeds it.
            $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>)

set(nexthopCpu ${NEXTHOP_CPU})
if(NOT nexthopCpu)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    set(nexthopCpu x86-64-v2)
  else()
    set(nexthopCpu baseline)
  endif()
endif()
if(NOT nexthopCpu STREQUAL "baseline")
  target_compile_options(nexthop_flags INTERFACE -march=${nexthopCpu})
endif()

if(NEXTHOP_SANITIZER)
  target_compile_options(
    nexthop_flags INTERFACE -fsanitize=${NEXTHOP_SANITIZER} -fno-sanitize-recover=all
                            -fno-omit-frame-pointer)
  target_link_options(nexthop_flags INTERFACE -fsanitize=${NEXTHOP_SANITIZER})
endif()
if(NEXTHOP_COVERAGE)
  # The definition is for code that ends the process: a death test's counters are written by hand.
  target_compile_definitions(nexthop_flags INTERFACE NEXTHOP_COVERAGE)
  target_compile_options(nexthop_flags INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(nexthop_flags INTERFACE --coverage)
endif()

# Sets SOURCES, DEPENDS, LIBRARIES and LABELS in the caller and complains of anything else.
macro(nexthop_parse)
  cmake_parse_arguments(arg "INTERNAL" "" "SOURCES;DEPENDS;LIBRARIES;LABELS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  list(TRANSFORM arg_DEPENDS PREPEND nexthop_)
endmacro()

function(nexthop_library name)
  nexthop_parse(${ARGN})
  set(target nexthop_${name})
  if(arg_SOURCES)
    add_library(${target} STATIC ${arg_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:nexthop_flags>)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  add_library(nexthop::${name} ALIAS ${target})
  target_compile_features(${target} ${scope} cxx_std_20)
  target_include_directories(
    ${target} ${scope} $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${NEXTHOP_INCLUDE_SUBDIR}>)
  target_link_libraries(${target} ${scope} ${arg_DEPENDS} ${arg_LIBRARIES})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  if(NOT arg_INTERNAL)
    set_property(GLOBAL APPEND PROPERTY NEXTHOP_LIBRARIES ${target})
  endif()
endfunction()

# What tools, tests and benchmarks have in common.
function(nexthop_program target)
  nexthop_parse(${ARGN})
  add_executable(${target} ${arg_SOURCES})
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE nexthop_flags ${arg_DEPENDS} ${arg_LIBRARIES})
endfunction()

function(nexthop_tool name)
  nexthop_program(${name} ${ARGN})
  set_property(GLOBAL APPEND PROPERTY NEXTHOP_TOOLS ${name})
endfunction()

# Tests are compiled with -O1 in a release build. That takes a third less time, and it keeps g++ 12
# from the array-bounds and restrict warnings that it makes up at -O2 where strings are joined. Under
# a sanitizer, where every access is code of its own, -O0 takes half the time of -O1. Not for coverage,
# where a function of ours that is inlined into a test would count the test's branches.
function(nexthop_test_flags target)
  if(NEXTHOP_SANITIZER)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O0>)
  elseif(NOT NEXTHOP_COVERAGE)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  endif()
endfunction()

# The precompiled header of all tests: GoogleTest costs more to parse than most tests to compile.
function(nexthop_test_pch)
  set(source ${PROJECT_BINARY_DIR}/nexthop_test_pch.cpp)
  file(GENERATE OUTPUT ${source} CONTENT "")
  add_library(nexthop_test_pch OBJECT ${source})
  target_compile_features(nexthop_test_pch PRIVATE cxx_std_20)
  set_target_properties(nexthop_test_pch PROPERTIES CXX_EXTENSIONS OFF)
  nexthop_test_flags(nexthop_test_pch)
  target_link_libraries(nexthop_test_pch PRIVATE nexthop_flags GTest::gtest GTest::gmock)
  target_precompile_headers(
    nexthop_test_pch
    PRIVATE
    <gmock/gmock.h>
    <gtest/gtest.h>
    <algorithm>
    <array>
    <functional>
    <map>
    <memory>
    <optional>
    <random>
    <set>
    <sstream>
    <string>
    <unordered_map>
    <vector>)
endfunction()

# In a build for the thread sanitizer only tests labelled tsan are built and run: the library runs on
# one thread everywhere else.
function(nexthop_test name)
  nexthop_parse(${ARGN})
  set(target ${name}_test)
  nexthop_program(${target} ${ARGN})
  nexthop_test_flags(${target})
  target_link_libraries(${target} PRIVATE GTest::gtest_main GTest::gmock)
  if(NEXTHOP_PCH)
    target_precompile_headers(${target} REUSE_FROM nexthop_test_pch)
  endif()
  if(NEXTHOP_SANITIZER STREQUAL "thread" AND NOT "tsan" IN_LIST arg_LABELS)
    set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  if(NOT TARGET nexthop_tests)
    add_custom_target(nexthop_tests)
  endif()
  add_dependencies(nexthop_tests ${target})
  gtest_discover_tests(
    ${target}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    NO_PRETTY_VALUES # the rows of our tables have names
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 120 LABELS "${arg_LABELS}")
endfunction()

# Benchmarks are built on demand only, all by the target nexthop_benches.
function(nexthop_bench name)
  nexthop_program(${name}_bench ${ARGN})
  if(NOT TARGET nexthop_benches)
    add_custom_target(nexthop_benches)
  endif()
  add_dependencies(nexthop_benches ${name}_bench)
  set_target_properties(${name}_bench PROPERTIES EXCLUDE_FROM_ALL ON)
  target_link_libraries(${name}_bench PRIVATE benchmark::benchmark_main)
endfunction()
