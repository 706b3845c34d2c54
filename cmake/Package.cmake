# cmake --install: libraries, headers and tools, and what find_package(nexthop-resolver) reads.

include_guard(GLOBAL)
include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/nexthop-resolver)
get_property(libraries GLOBAL PROPERTY NEXTHOP_LIBRARIES)
get_property(tools GLOBAL PROPERTY NEXTHOP_TOOLS)

if(libraries)
  install(TARGETS ${libraries} EXPORT nexthop-resolver-targets)
  install(
    EXPORT nexthop-resolver-targets
    NAMESPACE nexthop::
    DESTINATION ${packageDir})
endif()
foreach(folder platform records resolver)
  install(
    DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}
    DESTINATION ${NEXTHOP_INCLUDE_SUBDIR}
    FILES_MATCHING
    PATTERN "*.h")
endforeach()
if(tools)
  install(TARGETS ${tools})
endif()

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/nexthop-resolver-config.cmake.in
  ${PROJECT_BINARY_DIR}/nexthop-resolver-config.cmake INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/nexthop-resolver-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nexthop-resolver-config.cmake
              ${PROJECT_BINARY_DIR}/nexthop-resolver-config-version.cmake
        DESTINATION ${packageDir})
