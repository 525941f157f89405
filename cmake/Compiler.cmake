# Flags that hold for every target: warnings (errors by the presets, not for who packages with another compiler), sanitizers by BRENIC_SANITIZE.
add_compile_options(-Wall -Wextra -Wpedantic -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND BRENIC_SANITIZE)
  # gcc 12 reports false positives of these from its own library headers once instrumented.
  add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # The static members of message classes are defined in one source of their own; the linker tells what is missing.
  add_compile_options(-Wno-undefined-var-template)
endif()

if(BRENIC_SANITIZE)
  add_compile_options(-fsanitize=${BRENIC_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${BRENIC_SANITIZE})
  if(BRENIC_SANITIZE MATCHES "thread")
    # The thread sanitizer does not know fences; Asio's handlers are ordered by its mutexes as well.
    add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
  if(BRENIC_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# Coverage for libFuzzer in every library that a fuzzer links.
if(BRENIC_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
