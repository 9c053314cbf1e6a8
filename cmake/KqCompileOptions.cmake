# Compile options shared by every target of the project.

add_compile_options(-Wall -Wextra)
if(KQ_WERROR)
  add_compile_options(-Werror)
endif()

# __FILE__ relative to the source tree, so log records name "src/.../rts_api.cpp".
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

# Sanitized builds optimise at -O1, as the sanitizers advise: their reports keep every
# frame and line, and the tree builds a quarter faster than at -O2.
if(KQ_SANITIZER)
  add_compile_options(-O1)
endif()
if(KQ_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(KQ_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT KQ_SANITIZER STREQUAL "")
  message(FATAL_ERROR "KQ_SANITIZER must be empty, address or thread")
endif()

# The fuzz build: every target carries libFuzzer's coverage and the sanitizers, so that
# the fuzz targets see into the library and the host platform; only the fuzz targets
# link libFuzzer itself.
if(KQ_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# 64-bit atomics, which 32-bit MIPS implements in libatomic: kq_atomic links it where
# the compiler needs it.
include(CheckCXXSourceCompiles)
set(_kq_atomic_probe "#include <atomic>
#include <cstdint>
std::atomic<uint64_t> counter{0};
int main() { return static_cast<int>(counter.fetch_add(1)); }")
check_cxx_source_compiles("${_kq_atomic_probe}" KQ_ATOMICS_BUILT_IN)
add_library(kq_atomic INTERFACE)
if(NOT KQ_ATOMICS_BUILT_IN)
  target_link_libraries(kq_atomic INTERFACE atomic)
endif()
