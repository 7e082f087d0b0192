# C++ blocks of a Markdown page as files of the build folder, so that they compile on the day they are read.

# tarvo_read_page(<page>) leaves the page, a path from the source folder on, in `rest`.
macro(tarvo_read_page page)
  set(page "${page}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${page}")
  file(READ "${PROJECT_SOURCE_DIR}/${page}" rest)
endmacro()

# tarvo_next_example(<file>) writes the next C++ block of `rest` into a file of the build folder, and leaves
# in `rest` what follows it. CMake reads ";" and brackets in lists; the block is cut out by position instead.
function(tarvo_next_example file)
  string(FIND "${rest}" "```cpp\n" start)
  if(start EQUAL -1)
    message(FATAL_ERROR "${page} holds no C++ example for ${file}.")
  endif()
  math(EXPR start "${start} + 7")
  string(SUBSTRING "${rest}" ${start} -1 rest)
  string(FIND "${rest}" "\n```" length)
  string(SUBSTRING "${rest}" 0 ${length} text)
  string(SUBSTRING "${rest}" ${length} -1 rest)
  set(path "${CMAKE_CURRENT_BINARY_DIR}/${file}")
  file(WRITE "${path}.new" "${text}\n")
  configure_file("${path}.new" "${path}" COPYONLY)
  set(rest "${rest}" PARENT_SCOPE)
endfunction()

# tarvo_expect_no_example() fails when `rest` holds a C++ block that nobody has taken.
function(tarvo_expect_no_example)
  string(FIND "${rest}" "```cpp\n" start)
  if(NOT start EQUAL -1)
    message(FATAL_ERROR "${page} holds a C++ example that is not compiled.")
  endif()
endfunction()
