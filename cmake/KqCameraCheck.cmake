# kq_camera_check: proves that the camera build of the library leaves undefined only the
# platform's calls and what the C, C++ and Boost runtimes it links define, and that it
# exports nothing but its interface, with the cross toolchain's own tools.

# Where the runtimes' libraries are: the compiler's own link folders and Boost's (whose
# imported targets belong to the folder that found them).
find_package(Boost 1.74 REQUIRED COMPONENTS fiber)
set(_kq_runtime_dirs ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES} $<TARGET_FILE_DIR:Boost::fiber>)
string(REPLACE ";" "|" _kq_runtime_dirs "${_kq_runtime_dirs}")
set(_kq_compiler ${CMAKE_CXX_COMPILER})
if(CMAKE_SYSROOT)
  list(APPEND _kq_compiler --sysroot=${CMAKE_SYSROOT})
endif()
string(REPLACE ";" "|" _kq_compiler "${_kq_compiler}")

add_custom_target(kq_camera_check
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:kq_api> -DNM=${CMAKE_NM}
          -DREADELF=${CMAKE_READELF} -DCOMPILER=${_kq_compiler}
          -DRUNTIME_DIRS=${_kq_runtime_dirs}
          "-DPLATFORM_LIBS=$<JOIN:$<TARGET_PROPERTY:kq_api,KQ_PLATFORM_SONAMES>,|>"
          -DPLATFORM_INCLUDE=${PROJECT_SOURCE_DIR}/platform/include
          -P ${PROJECT_SOURCE_DIR}/cmake/check_camera_symbols.cmake
  COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIBRARY=$<TARGET_FILE:kq_api>
          -P ${PROJECT_SOURCE_DIR}/tests/check_exports.cmake
  DEPENDS kq_api
  VERBATIM)
