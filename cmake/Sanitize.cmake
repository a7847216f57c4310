# Sanitizers and fuzzing instrument every object, third-party test code included, so they are set for
# the whole tree and not on a target.
if(SPS_SANITIZE)
  add_compile_options(-fsanitize=${SPS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SPS_SANITIZE})
endif()

if(SPS_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "SPS_BUILD_FUZZ needs clang: configure with --preset fuzz")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
