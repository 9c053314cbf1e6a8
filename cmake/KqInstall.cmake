# What `cmake --install` puts where, by component:
#   runtime   libkq_api.so.N
#   dev       the public headers in include/kq_api, the libkq_api.so link, kq_api.pc and
#             the CMake package kq_api (target kq_api::kq_api)
# and on a PC the host platform, which the library does not require:
#   host      libkq_host_platform.so.N
#   host_dev  the platform's headers and the control interface host_control.h in
#             include/kq_host_platform, the link, kq_host_platform.pc and the package's
#             targets kq_api::host_platform and kq_api::platform_headers
# Applications include the headers as in the source tree ("kq_api.h",
# "module/pcm_sink.h"); the include folders of the package name them.
include(CMakePackageConfigHelpers)

set(KQ_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kq_api)
set(KQ_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(KQ_PACKAGE_BUILD_DIR ${CMAKE_BINARY_DIR}/package)
# The pkg-config files find the prefix from their own folder, so that any prefix works.
file(RELATIVE_PATH KQ_PC_PREFIX /${KQ_PKGCONFIG_DIR} /)
string(REGEX REPLACE "/$" "" KQ_PC_PREFIX "${KQ_PC_PREFIX}")

# kq_install_pkgconfig(NAME COMPONENT): NAME.pc from cmake/package/NAME.pc.in.
function(kq_install_pkgconfig name component)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package/${name}.pc.in
                 ${KQ_PACKAGE_BUILD_DIR}/${name}.pc @ONLY)
  install(FILES ${KQ_PACKAGE_BUILD_DIR}/${name}.pc DESTINATION ${KQ_PKGCONFIG_DIR}
          COMPONENT ${component})
endfunction()

# ---- The library ------------------------------------------------------------------------
target_include_directories(kq_api INTERFACE
                           $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kq_api>)
install(TARGETS kq_api EXPORT kq_apiTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kq_api
        COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(EXPORT kq_apiTargets NAMESPACE kq_api:: DESTINATION ${KQ_CMAKE_PACKAGE_DIR}
        COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/package/kq_apiConfig.cmake.in
                              ${KQ_PACKAGE_BUILD_DIR}/kq_apiConfig.cmake
                              INSTALL_DESTINATION ${KQ_CMAKE_PACKAGE_DIR})
# While the version is 0.x, a minor release may change the interface.
write_basic_package_version_file(${KQ_PACKAGE_BUILD_DIR}/kq_apiConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${KQ_PACKAGE_BUILD_DIR}/kq_apiConfig.cmake
              ${KQ_PACKAGE_BUILD_DIR}/kq_apiConfigVersion.cmake
        DESTINATION ${KQ_CMAKE_PACKAGE_DIR} COMPONENT dev)
kq_install_pkgconfig(kq_api dev)

# ---- The host platform --------------------------------------------------------------------
if(NOT KQ_PLATFORM STREQUAL "host")
  return()
endif()
target_include_directories(kq_platform_headers INTERFACE
                           $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kq_host_platform>)
set_target_properties(kq_platform_headers PROPERTIES EXPORT_NAME platform_headers)
set_target_properties(kq_host_platform PROPERTIES EXPORT_NAME host_platform)
install(TARGETS kq_host_platform kq_platform_headers EXPORT kq_apiHostPlatformTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT host NAMELINK_COMPONENT host_dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kq_host_platform
        COMPONENT host_dev FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/platform/host/control/host_control.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kq_host_platform COMPONENT host_dev)
install(EXPORT kq_apiHostPlatformTargets NAMESPACE kq_api:: DESTINATION ${KQ_CMAKE_PACKAGE_DIR}
        COMPONENT host_dev)
kq_install_pkgconfig(kq_host_platform host_dev)
