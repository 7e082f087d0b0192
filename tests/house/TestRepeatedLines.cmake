# cmake -D NODE=... -D SCRIPT=... -D WORK_DIR=... -P TestRepeatedLines.cmake
#
# What scripts/repeated-lines finds, and what it leaves alone.
cmake_minimum_required(VERSION 3.16)

set(five "one()\ntwo()\nthree()\nfour()\nfive()\n")
set(six "${five}six()\n")

# expect(<output> <file> <text> ...) runs the script over these files.
function(expect expected)
  set(files "")
  while(ARGN)
    list(POP_FRONT ARGN file text)
    file(WRITE "${WORK_DIR}/${file}" "${text}")
    list(APPEND files "${file}")
  endwhile()
  execute_process(COMMAND "${NODE}" "${SCRIPT}" ${files}
    WORKING_DIRECTORY "${WORK_DIR}" RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(expected)
    set(code 1)
  else()
    set(code 0)
  endif()
  if(NOT result EQUAL code OR NOT output STREQUAL expected)
    message(FATAL_ERROR "The script ended with ${result} and wrote\n${output}instead of\n${expected}")
  endif()
endfunction()

file(MAKE_DIRECTORY "${WORK_DIR}")
expect("" a.cpp "${five}" b.cpp "${five}")
expect("" a.cpp "${five}six()\n" b.cpp "${five}6()\n")
expect("b.cpp:2: 6 lines that stand at a.cpp:1, too\nrepeated-lines: 1 found\n"
  a.cpp "${six}" b.cpp "zero()\n${six}")
expect("a.cpp:7: 6 lines that stand at a.cpp:1, too\nrepeated-lines: 1 found\n"
  a.cpp "${six}${six}")
expect("b.js:1: 7 lines that stand at a.js:1, too\nc.js:1: 6 lines that stand at a.js:1, too\nrepeated-lines: 2 found\n"
  a.js "${six}seven()\n" b.js "${six}seven()\n" c.js "${six}")

# What does not count, between the lines and by itself.
expect("b.cpp:1: 6 lines that stand at a.cpp:1, too\nrepeated-lines: 1 found\n"
  a.cpp "${six}"
  b.cpp "one()\n\n// One.\n  two()\n{\nthree()\n/* of\nthem\n*/\n})\nfour()\n#include <x>\nfive()\n} // namespace\nsix()\n")
expect("b.cmake:1: 6 lines that stand at a.cmake:1, too\nrepeated-lines: 1 found\n"
  a.cmake "${six}" b.cmake "one()\ntwo()\n# Two.\nthree()\nfour()\nfive()\n\nsix()\n")
set(comments "// 1\n// 2\n// 3\n// 4\n// 5\n// 6\n// 7\n")
expect("" a.cpp "${comments}" b.cpp "${comments}")

# The usage, and what is no file.
function(expect_code code option words)
  execute_process(COMMAND "${NODE}" "${SCRIPT}" ${option}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL code OR NOT output MATCHES "${words}")
    message(FATAL_ERROR "With ${option}, the script ended with ${result} and wrote\n${output}")
  endif()
endfunction()

expect_code(0 --help "^Usage: scripts/repeated-lines ")
expect_code(0 -h "^Usage: scripts/repeated-lines ")
expect_code(2 --nonsense "^repeated-lines: unknown option '--nonsense'[.]\nTry scripts/repeated-lines --help[.]\n$")
