# x264 as the imported target X264::X264, found by plain find_path/find_library so the
# same lookup works on this machine and through the sysroot of a cross build.
if(TARGET X264::X264)
  return()
endif()

find_path(X264_INCLUDE_DIR x264.h)
find_library(X264_LIBRARY x264)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(X264 REQUIRED_VARS X264_LIBRARY X264_INCLUDE_DIR)

add_library(X264::X264 UNKNOWN IMPORTED)
set_target_properties(X264::X264 PROPERTIES
  IMPORTED_LOCATION "${X264_LIBRARY}"
  INTERFACE_INCLUDE_DIRECTORIES "${X264_INCLUDE_DIR}")
