# cmake -D NODE=... -D SOURCE_DIR=... -D WORK_DIR=... -P TestBareClassroom.cmake
#
# Before its packages are there, the classroom says in one line what to run.
cmake_minimum_required(VERSION 3.16)

file(REMOVE_RECURSE "${WORK_DIR}")
foreach(part IN ITEMS bin src package.json)
  file(COPY "${SOURCE_DIR}/classroom/${part}" DESTINATION "${WORK_DIR}")
endforeach()

foreach(option IN ITEMS --log --help)
  execute_process(COMMAND "${NODE}" "${WORK_DIR}/bin/classroom.js" ${option}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error TIMEOUT 30)
  set(expected "classroom: the package sockjs is missing; run scripts/setup classroom first.\n")
  if(NOT result EQUAL 1 OR NOT output STREQUAL "" OR NOT error STREQUAL expected)
    message(FATAL_ERROR "With ${option}, the classroom ended with ${result} and wrote:\n${output}${error}")
  endif()
endforeach()
