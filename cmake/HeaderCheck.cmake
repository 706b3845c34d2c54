# nexthop_headers: compiles every header of the project alone, so that none leans on what its
# includer happened to include first. Not part of a normal build; ./dev lint builds it. A header that
# its own source includes before all else is compiled alone by every build and needs no second time.

include_guard(GLOBAL)

set(headerFolders platform records resolver tools host)
if(NEXTHOP_TESTS)
  list(APPEND headerFolders tests)
endif()
list(TRANSFORM headerFolders APPEND "/*.h")
list(TRANSFORM headerFolders PREPEND "${PROJECT_SOURCE_DIR}/")
file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR} ${headerFolders})

set(sources)
foreach(header IN LISTS headers)
  string(REGEX REPLACE "h$" "cpp" own "${header}")
  if(EXISTS ${PROJECT_SOURCE_DIR}/${own})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${own} first REGEX "^#include" LIMIT_COUNT 1)
    if(first STREQUAL "#include \"${header}\"")
      continue()
    endif()
  endif()
  set(source ${PROJECT_BINARY_DIR}/headers/${header}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include \"@header@\"\n" @ONLY)
  list(APPEND sources ${source})
endforeach()

if(sources)
  add_library(nexthop_headers OBJECT EXCLUDE_FROM_ALL ${sources})
  target_compile_features(nexthop_headers PRIVATE cxx_std_20)
  set_target_properties(nexthop_headers PROPERTIES CXX_EXTENSIONS OFF)
  target_include_directories(nexthop_headers PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(nexthop_headers PRIVATE -O0)
  target_link_libraries(nexthop_headers PRIVATE nexthop_flags)
  if(NEXTHOP_TESTS)
    target_link_libraries(nexthop_headers PRIVATE GTest::gtest GTest::gmock)
  endif()
  if(NEXTHOP_HOST)
    add_dependencies(nexthop_headers nexthop_host_proto_cpp)
    target_include_directories(
      nexthop_headers SYSTEM
      PRIVATE $<TARGET_PROPERTY:nexthop_host_proto,INTERFACE_SYSTEM_INCLUDE_DIRECTORIES>)
  endif()
endif()
