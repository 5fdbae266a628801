# Project-wide compile settings applied to every Hopla target through hopla_settings.
add_library(hopla_settings INTERFACE)
target_compile_options(hopla_settings INTERFACE -Wall -Wextra -Wpedantic)
if(HOPLA_WERROR)
  target_compile_options(hopla_settings INTERFACE -Werror)
endif()
if(HOPLA_SANITIZE)
  # The standard library's own checks too: an empty optional read, an index past the end.
  target_compile_options(hopla_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
    -D_GLIBCXX_ASSERTIONS)
  target_link_options(hopla_settings INTERFACE -fsanitize=address,undefined)
endif()
if(HOPLA_FUZZ)
  # Coverage for libFuzzer in every library; the fuzz programs link the fuzzer's main.
  target_compile_options(hopla_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
