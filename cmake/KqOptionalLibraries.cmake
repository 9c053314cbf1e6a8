# Says whether an optional library was found, and what the build does without it, as a
# configure line "-- kq: NAME: found" or "-- kq: NAME: not found (WITHOUT)"; ./dev
# shows these lines of every configure.
function(kq_optional_library name found without)
  if(found)
    message(STATUS "kq: ${name}: found")
  else()
    message(STATUS "kq: ${name}: not found (${without})")
  endif()
endfunction()
