# Project-wide compile settings applied to every Hopla target through hopla_settings.
add_library(hopla_settings INTERFACE)
target_compile_options(hopla_settings INTERFACE -Wall -Wextra -Wpedantic)
if(HOPLA_WERROR)
  target_compile_options(hopla_settings INTERFACE -Werror)
endif()
if(HOPLA_SANITIZE)
  target_compile_options(hopla_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(hopla_settings INTERFACE -fsanitize=address,undefined)
endif()
