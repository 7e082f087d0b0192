# cmake -D SOURCE_DIR=... -D OUTPUT=... [-D DOXYGEN=...] [-D QHELPGENERATOR=...] -P BuildReference.cmake
#
# Makes the reference of the installed headers in OUTPUT: html/index.html, and tarvoclient.qch for Qt Assistant
# and Qt Creator. A warning of Doxygen's is an error.
cmake_minimum_required(VERSION 3.16)

# The reference's own pages, in their order, and those of docs/ that it takes in as they are.
set(pages reference/main reference/first-host reference/recipes reference/threads reference/wire reference/troubles
  host kit connection failures protocol operating)

find_program(DOXYGEN doxygen)
find_program(DOT dot)
# Where Debian has those of Qt 5 and of Qt 6; the one in the path may be a stand-in for neither.
find_program(QHELPGENERATOR qhelpgenerator HINTS /usr/lib/qt5/bin /usr/lib/qt6/libexec)
if(NOT DOXYGEN OR NOT DOT OR NOT QHELPGENERATOR)
  message(FATAL_ERROR "Doxygen, Graphviz or qhelpgenerator is missing; scripts/setup reference installs them.")
endif()

# What is installed, as each folder's CMakeLists.txt lists it.
set(headers "")
foreach(folder IN ITEMS client collab compression model sockjs support host)
  file(READ "${SOURCE_DIR}/${folder}/CMakeLists.txt" text)
  string(REGEX MATCH "[ (](HEADERS|header IN ITEMS)[ \n]([^)]*)" listed "${text}")
  string(REGEX REPLACE "PRIVATE_HEADERS.*" "" listed "${listed}")
  string(REGEX MATCHALL "[A-Za-z]+[.]h" listed "${listed}")
  list(TRANSFORM listed PREPEND "${folder}/")
  list(APPEND headers ${listed})
endforeach()

include("${SOURCE_DIR}/cmake/TarvoVersion.cmake")

list(JOIN headers " " headers)
list(TRANSFORM pages REPLACE "(.+)" "docs/\\1.md")
list(JOIN pages " " pages)
set(ENV{REFERENCE_PAGES} "${pages}") # for page.awk and rows.awk
file(REMOVE_RECURSE "${OUTPUT}/html")
file(WRITE "${OUTPUT}/Doxyfile" "@INCLUDE = docs/reference/Doxyfile
PROJECT_NUMBER = ${TARVO_VERSION}
OUTPUT_DIRECTORY = \"${OUTPUT}\"
INPUT += ${pages} ${headers}
")

function(run)
  execute_process(COMMAND ${ARGN}
    WORKING_DIRECTORY "${SOURCE_DIR}"
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(GET ARGN 0 program)
    message(FATAL_ERROR "${program} ended with ${result}:\n${output}")
  endif()
endfunction()

run("${DOXYGEN}" "${OUTPUT}/Doxyfile")
run("${QHELPGENERATOR}" -s "${OUTPUT}/html/index.qhp" -o "${OUTPUT}/tarvoclient.qch")
message(STATUS "The reference is ${OUTPUT}/html/index.html, and for Qt Assistant ${OUTPUT}/tarvoclient.qch.")
