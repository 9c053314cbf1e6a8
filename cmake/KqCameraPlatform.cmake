# The camera's platform libraries, which the library's platform calls resolve to on the
# camera. They are not at hand when building, so the library links an empty stand-in
# for each, made here under that library's SONAME: the linker records the SONAME as
# DT_NEEDED, and on the camera the loader opens the real library.
# KQ_CAMERA_PLATFORM_LIBS names them by SONAME ("librtsav.so.1") or by link name
# ("rtsav", for librtsav.so); empty, the library names none and the camera's
# application must load the platform itself.
set(KQ_CAMERA_PLATFORM_LIBS "" CACHE STRING
    "SONAMEs or link names of the camera's platform libraries, recorded as DT_NEEDED")

# kq_link_camera_platform(TARGET): links TARGET to a stand-in of each library of
# KQ_CAMERA_PLATFORM_LIBS and records their SONAMEs in TARGET's KQ_PLATFORM_SONAMES.
function(kq_link_camera_platform target)
  set(stub_dir ${CMAKE_BINARY_DIR}/platform-stubs)
  set(stub_source ${stub_dir}/platform_stub.c)
  file(CONFIGURE OUTPUT ${stub_source}
       CONTENT "/* Defines nothing: stands in for a platform library at link time. */\n")
  set(sonames "")
  set(files "")
  foreach(name IN LISTS KQ_CAMERA_PLATFORM_LIBS)
    if(NOT name MATCHES "\\.so")
      set(name lib${name}.so)
    endif()
    if(NOT name MATCHES "^lib(.+)\\.so(\\.(.+))?$")
      message(FATAL_ERROR "KQ_CAMERA_PLATFORM_LIBS: ${name} is no SONAME lib<name>.so[.<version>]")
    endif()
    string(MAKE_C_IDENTIFIER ${name} id)
    add_library(kq_stub_${id} SHARED ${stub_source})
    set_target_properties(kq_stub_${id} PROPERTIES
      OUTPUT_NAME ${CMAKE_MATCH_1} LIBRARY_OUTPUT_DIRECTORY ${stub_dir})
    if(CMAKE_MATCH_3)
      set_target_properties(kq_stub_${id} PROPERTIES SOVERSION ${CMAKE_MATCH_3})
    endif()
    target_link_options(kq_stub_${id} PRIVATE -nostdlib)
    add_dependencies(${target} kq_stub_${id})
    list(APPEND sonames ${name})
    list(APPEND files $<TARGET_LINKER_FILE:kq_stub_${id}>)
  endforeach()
  set_property(TARGET ${target} PROPERTY KQ_PLATFORM_SONAMES ${sonames})
  if(files)
    # By file rather than as targets, so that the installed package does not refer to
    # them; kept where the linker drops libraries nothing is taken from, as these define
    # nothing.
    target_link_libraries(${target} PRIVATE -Wl,--push-state,--no-as-needed ${files}
                          -Wl,--pop-state)
  endif()
endfunction()
