# The library serves hosts where the kit is not installed, as with Debian's packages, which are several.
cmake_minimum_required(VERSION 3.16)
include("${CMAKE_CURRENT_LIST_DIR}/InstallLayout.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
set(tree "${WORK_DIR}/tree")
install_layout("${tree}" -DCMAKE_INSTALL_LIBDIR=lib)
file(GLOB_RECURSE kit "${tree}/lib/libtarvohost*" "${tree}/lib/*HostTargets*")
list(LENGTH kit count)
if(count LESS 5)
  message(FATAL_ERROR "Of the kit there are only: ${kit}")
endif()
file(REMOVE ${kit})

run(${CMAKE_COMMAND} -S "${CMAKE_CURRENT_LIST_DIR}/library" -B "${WORK_DIR}/build"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_PREFIX_PATH=${tree};${PREFIX_PATH}" "-DPACKAGE=${PACKAGE}")
if(NOT output MATCHES "\n-- the library alone\n")
  message(FATAL_ERROR "${output}")
endif()
