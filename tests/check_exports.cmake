# Checks that a shared library exports nothing but its interface: the plain C
# functions and the C++ names of namespace `module` and of the board functions.
#   cmake -DNM=nm -DLIBRARY=libkq_api.so -P check_exports.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()

string(REPLACE "\n" ";" lines "${symbols}")
set(allowed "^(kq_|rts_)|^_Z.*6module|^_Z[0-9]+(gpio_|i2c_act_|get_aud_|set_aud_)|^(_init|_fini|_edata|_end|__bss_start)$")
set(count 0)
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  string(REGEX REPLACE "^.* " "" name "${line}")
  if(NOT name MATCHES "${allowed}")
    list(APPEND internal "${name}")
  elseif(name MATCHES "^kq_|^rts_")
    math(EXPR count "${count} + 1")
  endif()
endforeach()

if(internal)
  list(JOIN internal "\n  " text)
  message(FATAL_ERROR "${LIBRARY} exports internal symbols:\n  ${text}")
endif()
if(count EQUAL 0)
  message(FATAL_ERROR "${LIBRARY} exports no kq_/rts_ function")
endif()
message(STATUS "${count} interface functions exported, nothing else")
