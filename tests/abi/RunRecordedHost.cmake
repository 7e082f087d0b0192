# cmake -D SOURCE_DIR=... -D WORK_DIR=... -D HEADERS=... -D LIBRARY=... -D KIT=... -D QT=5|6 [...]
#   -P RunRecordedHost.cmake
#
# Builds the host with the recorded headers, or without HEADERS with the source tree's, and runs it with the libraries.
cmake_minimum_required(VERSION 3.16)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output TIMEOUT 240)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "It ended with ${result}: ${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(header_dir "${SOURCE_DIR}")
if(HEADERS)
  set(header_dir "${WORK_DIR}/headers")
  file(MAKE_DIRECTORY "${header_dir}")
  run(${CMAKE_COMMAND} -E chdir "${header_dir}" ${CMAKE_COMMAND} -E tar xf "${SOURCE_DIR}/${HEADERS}")
endif()
# Under the name that the host asks for, and in one place.
foreach(library IN ITEMS "${LIBRARY}" "${KIT}")
  get_filename_component(name "${library}" NAME)
  string(REGEX REPLACE "[.]so[.]([0-9]+)[.].*" ".so.\\1" name "${name}")
  configure_file("${library}" "${WORK_DIR}/lib/${name}" COPYONLY)
endforeach()

run(${CMAKE_COMMAND} -S "${CMAKE_CURRENT_LIST_DIR}/host" -B "${WORK_DIR}/build" -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_PREFIX_PATH=${PREFIX_PATH}"
  "-DHEADER_DIR=${header_dir}" "-DLIBRARY_DIR=${WORK_DIR}/lib" "-DTARVO_QT=${QT}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" --parallel 2)

# Every function that it uses is looked for at once.
run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${WORK_DIR}/lib" LD_BIND_NOW=1 "${WORK_DIR}/build/recorded-host")
if(NOT output MATCHES "a host of [0-9.]+ runs")
  message(FATAL_ERROR "The host wrote:\n${output}")
endif()
