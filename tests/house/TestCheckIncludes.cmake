# cmake -D WORK_DIR=... -P TestCheckIncludes.cmake
#
# What CheckIncludes.cmake makes of small trees: an order that is kept, and each way of breaking it.
cmake_minimum_required(VERSION 3.16)

# expect(<findings> <file> <what it includes> ...) checks a tree of these files.
function(expect findings)
  file(REMOVE_RECURSE "${WORK_DIR}")
  while(ARGN)
    list(POP_FRONT ARGN file included)
    file(APPEND "${WORK_DIR}/${file}" "#pragma once\n${included}\n")
  endwhile()
  execute_process(
    COMMAND ${CMAKE_COMMAND} -D "SOURCE_DIR=${WORK_DIR}" -P "${CMAKE_CURRENT_LIST_DIR}/CheckIncludes.cmake"
    RESULT_VARIABLE result ERROR_VARIABLE output)
  string(REGEX MATCHALL "[^ \n]+/[^\n]*(include each other|may not)" actual "${output}")
  if(findings)
    set(expected 1)
  else()
    set(expected 0)
  endif()
  if(NOT result EQUAL expected OR NOT actual STREQUAL findings)
    message(FATAL_ERROR "The check ended with ${result} and found\n${actual}\ninstead of\n${findings}\n${output}")
  endif()
endfunction()

expect(""
  client/Client.cpp "#include \"client/Client.h\"\n#include <QtCore/QString>"
  client/Client.h "#include \"collab/Channel.h\""
  collab/Channel.h "#include \"sockjs/Socket.h\"\n#include \"model/Card.h\"\n#include \"compression/Block.h\""
  collab/Card.h "#include \"model/Card.h\""
  model/Card.h "#include \"support/Export.h\""
  sockjs/Socket.h "#include \"support/Export.h\""
  compression/Block.h "#include \"support/Export.h\""
  support/Export.h "")
expect("model/Card.h includes collab/Channel.h, which model/ may not"
  model/Card.h "#include \"collab/Channel.h\"")
expect("support/Wait.cpp includes model/Card.h, which support/ may not"
  support/Wait.cpp " # include \"model/Card.h\" // a card")
expect("model/Card.h includes collab/Card.h, which model/ may not"
  model/Card.h "#include <collab/Card.h>")
expect("client/Client.h includes sockjs/Socket.h, which client/ may not"
  client/Client.h "#include \"sockjs/Socket.h\"")
expect("model/Card.h includes Learner.h, which model/ may not"
  model/Card.h "#include \"Learner.h\"")
expect("model/Card.h and model/Learner.h include each other"
  model/Card.h "#include \"model/Learner.h\""
  model/Learner.h "#include \"model/Card.h\"")
expect("collab/Channel.h includes client/Client.h, which collab/ may not;client/Client.h and collab/Channel.h include each other"
  client/Client.h "#include \"collab/Channel.h\""
  collab/Channel.h "#include \"client/Client.h\"")

# The host kit.
set(collab_lists "tarvo_library_sources(\n  HEADERS\n    Channel.h\n    Card.h\n  PRIVATE_HEADERS\n    Inner.h)")
expect(""
  host/Class.cpp "#include \"host/Class.h\"\n#include \"client/Client.h\"\n#include \"collab/Card.h\""
  client/CMakeLists.txt "tarvo_library_sources(SOURCES Client.cpp HEADERS Client.h)"
  collab/CMakeLists.txt "${collab_lists}")
expect("host/Class.h includes collab/Inner.h, which host/ may not"
  host/Class.h "#include \"collab/Inner.h\"\n#include \"collab/Channel.h\""
  collab/CMakeLists.txt "${collab_lists}")
expect("host/Class.h includes support/Export.h, which host/ may not"
  host/Class.h "#include \"support/Export.h\""
  support/CMakeLists.txt "tarvo_library_sources(HEADERS Export.h)")
expect("" host/Class.cpp "#include \"support/Json.h\"")
expect("host/Class.h includes sockjs/Socket.h, which host/ may not"
  host/Class.h "#include \"sockjs/Socket.h\""
  sockjs/CMakeLists.txt "tarvo_library_sources(HEADERS Socket.h)")
expect("host/Class.h includes compression/Block.h, which host/ may not"
  host/Class.h "#include \"compression/Block.h\""
  compression/CMakeLists.txt "tarvo_library_sources(HEADERS Block.h)")
expect("client/Client.h includes host/Class.h, which client/ may not"
  client/Client.h "#include \"host/Class.h\"")
