# Warnings and sanitizers shared by every target of the project.
add_library(kelvra_options INTERFACE)
target_compile_options(kelvra_options INTERFACE -Wall -Wextra -Wpedantic)
if(KELVRA_WERROR)
  target_compile_options(kelvra_options INTERFACE -Werror)
endif()
if(KELVRA_SANITIZE STREQUAL "thread")
  set(_san -fsanitize=thread -fno-omit-frame-pointer)
  # GCC 12's flow analysis sees through the instrumentation badly: it reports moving a
  # std::optional<QString> out of a swap temporary as "may be used uninitialized". The
  # ASan and Release builds keep the warning.
  target_compile_options(kelvra_options INTERFACE ${_san} -Wno-maybe-uninitialized)
  target_link_options(kelvra_options INTERFACE ${_san})
elseif(KELVRA_SANITIZE)
  set(_san -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_compile_options(kelvra_options INTERFACE ${_san})
  target_link_options(kelvra_options INTERFACE ${_san})
endif()
# libFuzzer: every library is instrumented for coverage (fuzzer-no-link); only the fuzz
# targets link libFuzzer's main (tests/fuzz). Debian's gcc has no libFuzzer.
if(KELVRA_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "KELVRA_FUZZ needs clang: configure with -DCMAKE_CXX_COMPILER=clang++")
  endif()
  set(_fuzz -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_compile_options(kelvra_options INTERFACE ${_fuzz})
  target_link_options(kelvra_options INTERFACE ${_fuzz})
endif()
