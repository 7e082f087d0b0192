# cmake -D SOURCE_DIR=... -D WORK_DIR=... -D CXX_COMPILER=... -D PREFIX_PATH=... -P RunGuard.cmake
#
# scripts/abi check in a small tree that was recorded on another system: it builds the commit that was recorded and
# compares with that, refuses what breaks it, and says what it lacks in a checkout that does not have the commit.
cmake_minimum_required(VERSION 3.16)

set(tree "${WORK_DIR}/tree")
set(ENV{CXX} "${CXX_COMPILER}")
string(REPLACE ";" ":" prefix_path "${PREFIX_PATH}")
set(ENV{CMAKE_PREFIX_PATH} "${prefix_path}")
foreach(variable IN ITEMS GIT_DIR GIT_WORK_TREE GIT_INDEX_FILE)
  unset(ENV{${variable}})
endforeach()

function(run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY "${tree}" TIMEOUT 100
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(result "${result}" PARENT_SCOPE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect code text)
  string(FIND "${output}" "${text}" at)
  if(NOT result EQUAL code OR at EQUAL -1)
    message(FATAL_ERROR "It ended with ${result}, not ${code}, and said, without \"${text}\":\n${output}")
  endif()
endfunction()

function(git)
  run(git -c user.name=nobody -c user.email=nobody@tarvo.example -c commit.gpgSign=false ${ARGN})
  expect(0 "")
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(change file from to)
  file(READ "${tree}/${file}" text)
  string(REPLACE "${from}" "${to}" text "${text}")
  file(WRITE "${tree}/${file}" "${text}")
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
file(GLOB files "${SOURCE_DIR}/tests/abi/small/*")
file(COPY ${files} "${SOURCE_DIR}/CMakePresets.json" DESTINATION "${tree}")
foreach(name IN ITEMS abi abi-compare usage.sh)
  file(COPY "${SOURCE_DIR}/scripts/${name}" DESTINATION "${tree}/scripts")
endforeach()
file(COPY "${SOURCE_DIR}/abi/suppressions" DESTINATION "${tree}/abi")
file(WRITE "${tree}/scripts/setup" "#!/bin/sh\n") # it needs nothing that is not there
file(WRITE "${tree}/.gitignore" "/build/\n")
run(chmod +x scripts/setup)

git(init -q)
git(add .)
git(commit -q -m "What hosts have")
git(rev-parse HEAD)
file(WRITE "${tree}/abi/1.0/commit" "${output}")
change(Small.h "bool isQt(int version);" "bool isQt(int version);\nint ageOf(const Pupil &pupil);")
change(tarvohost.cpp "int Tarvo::seatOf" "int Tarvo::ageOf(const Pupil &pupil)\n{\n    return pupil.age;\n}\n\nint Tarvo::seatOf")
git(add .)
git(commit -q -m "Tell the age, too")

run(scripts/abi check)
expect(0 "abi: abi/1.0 was not recorded on a system like this one (")
expect(0 "abi: libtarvohost.so.1 has more: 'function int Tarvo::ageOf(const Tarvo::Pupil&)'")
expect(0 "abi: hosts of 1.0 run with this library")

# What was built from the commit is there now.
change(Small.h "int seat;" "int seat;\n    int row;")
run(scripts/abi check)
expect(1 "size of Tarvo::Pupil: 64; now 96")
if(output MATCHES "was not recorded")
  message(FATAL_ERROR "The commit was built again:\n${output}")
endif()

git(clone -q --depth 1 "file://${tree}" "${WORK_DIR}/shallow")
set(tree "${WORK_DIR}/shallow")
run(scripts/abi check)
expect(3 "this checkout does not have that commit. If it is a shallow one, run: git fetch --unshallow")
