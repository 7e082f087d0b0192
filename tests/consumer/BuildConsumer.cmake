function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGV}")
    message(FATAL_ERROR "Failed (${result}): ${command}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# The host is linked with what the library was linked with.
set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=address,undefined")
endif()
file(GLOB_RECURSE pc "${prefix}/*/tarvoclient.pc")
get_filename_component(pc_dir "${pc}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
# The .pc file names the prefix of the configuration; a tree installed elsewhere says so.
file(READ "${pc}" text)
string(REGEX REPLACE "prefix=[^\n]*\n" "prefix=${prefix}\n" text "${text}")
file(WRITE "${pc}" "${text}")

run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${flags}"
  "-DCMAKE_PREFIX_PATH=${prefix}" "-DHOST_SOURCE=${HOST_SOURCE}"
  "-DHEADER_DIR=${prefix}/include/tarvoclient")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" --parallel 2 --target by-package by-pkg-config)
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" --parallel 2 --target headers-alone)

# Nobody listens on port 1: the host loads the library, is refused and says so.
foreach(host IN ITEMS by-package by-pkg-config)
  execute_process(COMMAND "${WORK_DIR}/build/${host}" http://127.0.0.1:1 teacher secret
    RESULT_VARIABLE result ERROR_VARIABLE output TIMEOUT 60)
  if(NOT result EQUAL 1 OR NOT output MATCHES "The session did not start:")
    message(FATAL_ERROR "${host} ended with ${result} and wrote:\n${output}")
  endif()
endforeach()
