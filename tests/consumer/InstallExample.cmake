# The installed console host and the installed kit load the library that was installed with them, not the
# one in the build folder; and the whole tree is moved, since it was staged for another place.
cmake_minimum_required(VERSION 3.16)

file(REMOVE_RECURSE "${WORK_DIR}")
set(ENV{DESTDIR} "${WORK_DIR}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix /opt/classroom
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The installation failed (${result}):\n${output}")
endif()

set(tree "${WORK_DIR}/opt/classroom")
set(program "${tree}/${BINDIR}/tarvo-presenter")
foreach(file IN ITEMS "${program}" "${tree}/${LIBDIR}/libtarvohost${SUFFIX}.so.1")
  execute_process(COMMAND ldd "${file}" OUTPUT_VARIABLE libraries ERROR_VARIABLE libraries)
  string(REGEX MATCH "libtarvoclient${SUFFIX}[.]so[.]1 => ([^ \n]+)" found "${libraries}")
  get_filename_component(library "${CMAKE_MATCH_1}" ABSOLUTE)
  if(NOT library STREQUAL "${tree}/${LIBDIR}/libtarvoclient${SUFFIX}.so.1")
    message(FATAL_ERROR "${file} loads\n${libraries}")
  endif()
endforeach()

execute_process(COMMAND "${program}" --help OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT output MATCHES "^Usage: [^\n]*tarvo-presenter [[]options[]]\n")
  message(FATAL_ERROR "${program} ended with ${result} and wrote:\n${output}")
endif()
