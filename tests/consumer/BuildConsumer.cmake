# Builds hosts against a tree that was moved after its installation, in a multiarch library folder, with
# its files as they were installed.
cmake_minimum_required(VERSION 3.16)
include("${CMAKE_CURRENT_LIST_DIR}/InstallLayout.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
install_layout("${WORK_DIR}/prefix" "-DCMAKE_INSTALL_LIBDIR=${LIBRARY_FOLDER}")
set(tree "${WORK_DIR}/moved")
file(RENAME "${WORK_DIR}/prefix" "${tree}")

# The host is linked with what the library was linked with.
set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=address,undefined")
endif()
set(ENV{PKG_CONFIG_PATH} "${tree}/${LIBRARY_FOLDER}/pkgconfig")
run(${CMAKE_COMMAND} -S "${CMAKE_CURRENT_LIST_DIR}/host" -B "${WORK_DIR}/build" -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${flags}"
  "-DCMAKE_PREFIX_PATH=${tree};${PREFIX_PATH}" "-DHOST_SOURCE=${HOST_SOURCE}"
  "-DHEADER_DIR=${tree}/include/tarvoclient${SUFFIX}"
  "-DPACKAGE=${PACKAGE}" "-DSUFFIX=${SUFFIX}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" --parallel 2)

# Nobody listens on port 1: the host loads its libraries, is refused and says so.
function(expect_refusal host words)
  execute_process(COMMAND "${WORK_DIR}/build/${host}" http://127.0.0.1:1 teacher secret
    RESULT_VARIABLE result ERROR_VARIABLE output TIMEOUT 60)
  if(NOT result EQUAL 1 OR NOT output MATCHES "${words}")
    message(FATAL_ERROR "${host} ended with ${result} and wrote:\n${output}")
  endif()
endfunction()

foreach(way IN ITEMS by-package by-pkg-config)
  expect_refusal(${way} "The session did not start:")
  expect_refusal(kit-${way} "The class did not begin: Tarvo::Failure::Refused\n")
endforeach()
