# Compile settings that every target of this project shares.
add_library(quarn_compile INTERFACE)
target_compile_features(quarn_compile INTERFACE cxx_std_20)
target_compile_options(quarn_compile INTERFACE
  -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wvla -Wcast-qual -Wconversion -Wno-sign-conversion
  -Werror=format-security
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # g++ 12 imagines overlapping copies in std::string at -O3
  $<$<BOOL:${QUARN_WERROR}>:-Werror>)

set(QUARN_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined or thread")
if(QUARN_SANITIZE)
  add_compile_options(-fsanitize=${QUARN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QUARN_SANITIZE})
endif()

if(QUARN_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "QUARN_FUZZ needs clang (scripts/setup --fuzz; cmake --preset fuzz).")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
