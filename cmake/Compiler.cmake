# Flags that hold for every target: warnings, and sanitizers by BRENIC_SANITIZE. Warnings are errors by the presets
# alone, so that who packages with another compiler is not stopped by what it has learnt to warn of.
add_compile_options(-Wall -Wextra -Wpedantic -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND BRENIC_SANITIZE)
  # gcc 12 reports false positives of these from its own library headers once instrumented.
  add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds)
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
