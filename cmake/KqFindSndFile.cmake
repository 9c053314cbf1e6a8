# libsndfile as the imported target SndFile::sndfile, found by plain find_path/find_library
# so the same lookup works on this machine and through the sysroot of a cross build
# (Debian ships no CMake package file for it).
if(TARGET SndFile::sndfile)
  return()
endif()

find_path(SNDFILE_INCLUDE_DIR sndfile.h)
find_library(SNDFILE_LIBRARY sndfile)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(SndFile REQUIRED_VARS SNDFILE_LIBRARY SNDFILE_INCLUDE_DIR)

add_library(SndFile::sndfile UNKNOWN IMPORTED)
set_target_properties(SndFile::sndfile PROPERTIES
  IMPORTED_LOCATION "${SNDFILE_LIBRARY}"
  INTERFACE_INCLUDE_DIRECTORIES "${SNDFILE_INCLUDE_DIR}")
