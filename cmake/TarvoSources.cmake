# tarvo_library_sources(SOURCES a.cpp ... HEADERS A.h ... [PRIVATE_HEADERS b.h ...])
#
# Adds a folder's files to the library. HEADERS are installed for hosts; PRIVATE_HEADERS are not.
define_property(TARGET PROPERTY TARVO_PUBLIC_HEADERS
  BRIEF_DOCS "Headers that hosts include"
  FULL_DOCS "Paths relative to the root of the source tree; the install step keeps them.")

function(tarvo_library_sources)
  cmake_parse_arguments(arg "" "" "SOURCES;HEADERS;PRIVATE_HEADERS" ${ARGN})
  foreach(file IN LISTS arg_SOURCES arg_HEADERS arg_PRIVATE_HEADERS)
    target_sources(tarvoclient PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
  endforeach()
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  foreach(header IN LISTS arg_HEADERS)
    set_property(TARGET tarvoclient APPEND PROPERTY TARVO_PUBLIC_HEADERS "${folder}/${header}")
  endforeach()
endfunction()
