# Cross build for the camera's 32-bit little-endian MIPS processor, run under
# qemu-mipsel with the cross toolchain's libraries. KQ_MIPS_SYSROOT, when given, is a
# folder with Debian's mipsel packages unpacked into it (./dev mips prepares one): the
# codec and font libraries the host platform links come from there.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)

set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
set(KQ_MIPS_RUNTIME /usr/mipsel-linux-gnu)

# Checks that compile test programs load this file again and need the sysroot too.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KQ_MIPS_SYSROOT)

set(CMAKE_FIND_ROOT_PATH ${KQ_MIPS_RUNTIME} ${KQ_MIPS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The cross compiler's own folders carry no architecture name, so CMake cannot tell
# that Debian's packages keep their libraries in usr/lib/mipsel-linux-gnu.
set(CMAKE_LIBRARY_ARCHITECTURE mipsel-linux-gnu)

set(KQ_MIPS_EMULATOR qemu-mipsel -L ${KQ_MIPS_RUNTIME})

if(KQ_MIPS_SYSROOT)
  set(KQ_MIPS_SYSROOT_LIBRARY_DIRS
      ${KQ_MIPS_SYSROOT}/usr/lib/mipsel-linux-gnu ${KQ_MIPS_SYSROOT}/lib/mipsel-linux-gnu)
  string(REPLACE ";" ":" _kq_sysroot_library_path "${KQ_MIPS_SYSROOT_LIBRARY_DIRS}")

  # Headers such as x264_config.h and jconfig.h sit in the architecture's own include
  # folder, beside the main headers the finds return; the native compiler searches
  # that folder by itself.
  set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${KQ_MIPS_SYSROOT}/usr/include/mipsel-linux-gnu)
  set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${KQ_MIPS_SYSROOT}/usr/include/mipsel-linux-gnu)

  # The linker resolves the sysroot libraries' own dependencies (FreeType's libpng,
  # zlib and brotli) there, and so does the loader when the tests run. CMake reads
  # this file more than once, so the flags are set, not appended.
  foreach(_kq_kind EXE SHARED MODULE)
    set(CMAKE_${_kq_kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_kq_sysroot_library_path}")
  endforeach()
  list(APPEND KQ_MIPS_EMULATOR -E LD_LIBRARY_PATH=${_kq_sysroot_library_path})
endif()

set(CMAKE_CROSSCOMPILING_EMULATOR ${KQ_MIPS_EMULATOR})
