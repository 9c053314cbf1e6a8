# Debian packages of the install components (./dev package, cpack -G DEB):
#   libkq-api0             runtime    libkq-api-dev            dev
#   libkq-host-platform0   host       libkq-host-platform-dev  host_dev
# dpkg-shlibdeps computes what the libraries need from Debian; the packages of this
# build depend on each other exactly, as dpkg-shlibdeps does not see them.
set(CPACK_GENERATOR DEB)
# The packages hold the libraries alone: packing builds them, not the whole tree.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_PACKAGE_NAME kq-api)
set(CPACK_PACKAGE_VENDOR "libkq_api")
set(CPACK_PACKAGE_CONTACT "libkq_api developers <kq-api@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev host host_dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Without the debugging information of the RelWithDebInfo tree.
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Where dpkg-shlibdeps finds the host platform that the library loads.
get_target_property(_kq_host_platform_dir kq_host_platform BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${_kq_host_platform_dir})

set(_kq_exactly "(= ${PROJECT_VERSION})")
set(_kq_api_runtime libkq-api${KQ_SOVERSION})
set(_kq_host_runtime libkq-host-platform${KQ_SOVERSION})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${_kq_api_runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# This build of the library loads the host platform.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${_kq_host_runtime} ${_kq_exactly}")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "camera media interface library\nlibkq_api drives a network camera's media hardware: video encoder channels,\nsnapshots, overlays, image settings, audio playback and capture, GPIO and I2C.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkq-api-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${_kq_api_runtime} ${_kq_exactly}")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "camera media interface library (development files)\nHeaders, pkg-config file and CMake package of libkq_api.")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME ${_kq_host_runtime})
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION libs)
# The timestamp is drawn with DejaVu Sans Mono, opened by path at run time.
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS fonts-dejavu-core)
set(CPACK_COMPONENT_HOST_DESCRIPTION
    "camera platform for PCs and emulation\nThe camera platform's libraries implemented on a PC: a test-pattern image\nchannel, x264 and JPEG encoders, overlays, WAV and ALSA sound, an in-memory board.")

set(CPACK_DEBIAN_HOST_DEV_PACKAGE_NAME libkq-host-platform-dev)
set(CPACK_DEBIAN_HOST_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HOST_DEV_PACKAGE_DEPENDS "${_kq_host_runtime} ${_kq_exactly}")
set(CPACK_COMPONENT_HOST_DEV_DESCRIPTION
    "camera platform for PCs and emulation (development files)\nThe platform's headers and the host platform's control interface, pkg-config\nfile and CMake targets.")

# The runtime packages declare their libraries to dpkg (shlibs) and run ldconfig.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

include(CPack)
