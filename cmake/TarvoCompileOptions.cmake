# Warnings and sanitizers for everything that is built here.

function(tarvo_set_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic
    "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual;-Wcast-align>"
    "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wshadow=local>") # GNU's own
  if(TARVO_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(TARVO_SANITIZE AND TARVO_SANITIZE_THREADS)
  message(FATAL_ERROR "TARVO_SANITIZE and TARVO_SANITIZE_THREADS exclude each other: a program takes one of them.")
endif()
if(TARVO_SANITIZE)
  # For the whole tree: the library, the LZMA SDK inside it and every program that loads it.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(TARVO_SANITIZE_THREADS)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
if(TARVO_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

if(TARVO_BUILD_FUZZERS)
  # The fuzzer is led by the code that an input reaches, the LZMA SDK's included.
  add_compile_options(-fsanitize=fuzzer-no-link)
  # And scripts/fuzz --report counts that code; no other run leaves a count behind.
  add_compile_options(-fprofile-instr-generate=/dev/null -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
