# cmake -D SOURCE_DIR=... -P CheckIncludes.cmake
#
# Fails when a file of the library includes one of a folder that its own may not include, or when two
# files include each other.
cmake_minimum_required(VERSION 3.16)

# Which folders a folder may include besides itself.
set(client_may_include collab model compression support)
set(collab_may_include model sockjs compression support)
set(model_may_include support)
set(sockjs_may_include support)
set(compression_may_include support)
set(support_may_include "")
set(folders client collab model sockjs compression support)
list(JOIN folders "|" ours)

set(findings "")
set(known "") # every include, as "A.h>B.h"
foreach(folder IN LISTS folders)
  file(GLOB files RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/${folder}/*.h" "${SOURCE_DIR}/${folder}/*.cpp")
  foreach(file IN LISTS files)
    # The toolkit's and the system's headers stand in angle brackets, and are of none of our folders.
    file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*(\"|<(${ours})/)")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^[^\"<]*[\"<]([^\">]*)[\">].*" "\\1" included "${line}")
      string(REGEX REPLACE "/[^/]*$" "" from "${included}")
      if(NOT from IN_LIST folder AND NOT from IN_LIST ${folder}_may_include)
        string(APPEND findings "  ${file} includes ${included}, which ${folder}/ may not\n")
      endif()
      if("${included}>${file}" IN_LIST known)
        string(APPEND findings "  ${included} and ${file} include each other\n")
      endif()
      list(APPEND known "${file}>${included}")
    endforeach()
  endforeach()
endforeach()

if(NOT known)
  message(FATAL_ERROR "There is no library in ${SOURCE_DIR}.")
endif()
if(findings)
  message(FATAL_ERROR "Includes that are out of order:\n${findings}")
endif()
