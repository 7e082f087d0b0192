# Finds what the console host needs for its terminal: libedit edits the line being typed, utf8proc knows
# how wide characters are, and libbsd asks for a password.
#
#   TerminalLibraries::TerminalLibraries   all three
#   TerminalLibraries_FOUND                they were found
#   TerminalLibraries_NAMES                what messages call them

set(TerminalLibraries_NAMES
  "libedit, utf8proc and libbsd (Debian packages libedit-dev, libutf8proc-dev and libbsd-dev)")

set(variables "")
foreach(library IN ITEMS edit:histedit.h utf8proc:utf8proc.h bsd:bsd/readpassphrase.h)
  string(REGEX MATCH "^([^:]+):(.+)$" library "${library}")
  string(TOUPPER "TERMINAL_${CMAKE_MATCH_1}" prefix)
  find_library(${prefix}_LIBRARY ${CMAKE_MATCH_1})
  find_path(${prefix}_INCLUDE_DIR ${CMAKE_MATCH_2})
  list(APPEND variables ${prefix}_LIBRARY ${prefix}_INCLUDE_DIR)
endforeach()
mark_as_advanced(${variables})

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(TerminalLibraries
  REQUIRED_VARS ${variables}
  FAIL_MESSAGE "The console host's libraries were not all found: ${TerminalLibraries_NAMES}.")

if(TerminalLibraries_FOUND AND NOT TARGET TerminalLibraries::TerminalLibraries)
  add_library(TerminalLibraries::TerminalLibraries INTERFACE IMPORTED GLOBAL)
  set_target_properties(TerminalLibraries::TerminalLibraries PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES
      "${TERMINAL_EDIT_INCLUDE_DIR};${TERMINAL_UTF8PROC_INCLUDE_DIR};${TERMINAL_BSD_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES
      "${TERMINAL_EDIT_LIBRARY};${TERMINAL_UTF8PROC_LIBRARY};${TERMINAL_BSD_LIBRARY}")
endif()
