# Finds Node.js, which runs the classroom service.
#
#   NODE_EXECUTABLE   the program
#   Node_VERSION      its version
#   Node_FOUND        it was found, in the version asked for

find_program(NODE_EXECUTABLE NAMES node nodejs DOC "Node.js, which runs the classroom service")
if(NODE_EXECUTABLE)
  execute_process(COMMAND "${NODE_EXECUTABLE}" --version
    OUTPUT_VARIABLE Node_VERSION
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
  string(REGEX REPLACE "^v" "" Node_VERSION "${Node_VERSION}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Node
  REQUIRED_VARS NODE_EXECUTABLE
  VERSION_VAR Node_VERSION
  FAIL_MESSAGE "Node.js was not found. On Debian, install the package nodejs.")
mark_as_advanced(NODE_EXECUTABLE)
