# cmake -D SOURCE_DIR=... -P CheckIncludes.cmake
#
# Fails when a file of the libraries includes one of a folder that its own may not include, or when two
# files include each other. The host kit has of each folder what every host has: its public headers; and what
# keeps the toolkit from losing memory, which both libraries contain.
cmake_minimum_required(VERSION 3.16)

# Which folders a folder may include besides itself, and of which it may include the public headers.
set(host_may_include "")
set(host_may_include_public client collab model)
set(client_may_include collab model compression support)
set(collab_may_include model sockjs compression support)
set(model_may_include support)
set(sockjs_may_include support)
set(compression_may_include support)
set(support_may_include "")
set(folders host client collab model sockjs compression support)
list(JOIN folders "|" ours)

# The headers that a folder's CMakeLists.txt lists behind HEADERS.
function(public_headers result folder)
  set(${result} "" PARENT_SCOPE)
  if(NOT EXISTS "${SOURCE_DIR}/${folder}/CMakeLists.txt")
    return()
  endif()
  file(READ "${SOURCE_DIR}/${folder}/CMakeLists.txt" text)
  string(REGEX REPLACE "[() \n]+" ";" words "${text}")
  set(headers "")
  set(is_public FALSE)
  foreach(word IN LISTS words)
    if(word MATCHES "^[A-Z_]+$")
      string(COMPARE EQUAL "${word}" HEADERS is_public)
    elseif(is_public AND word MATCHES "[.]h$")
      list(APPEND headers "${folder}/${word}")
    endif()
  endforeach()
  set(${result} "${headers}" PARENT_SCOPE)
endfunction()

foreach(folder IN LISTS folders)
  set(${folder}_may_include_headers "")
  foreach(other IN LISTS ${folder}_may_include_public)
    public_headers(headers ${other})
    list(APPEND ${folder}_may_include_headers ${headers})
  endforeach()
endforeach()
list(APPEND host_may_include_headers support/Json.h)

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
      if(NOT from IN_LIST folder AND NOT from IN_LIST ${folder}_may_include
          AND NOT included IN_LIST ${folder}_may_include_headers)
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
