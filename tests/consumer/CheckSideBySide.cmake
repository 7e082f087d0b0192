# cmake -D SOURCE_DIR=... -D WORK_DIR=... -D VERSION=... -D C_COMPILER=... [...] -P CheckSideBySide.cmake
#
# What is installed for Qt 5 and what is installed for Qt 6 have nothing in common but the programs, so both can lie
# under one prefix. Nothing is compiled: empty files stand in for what would be.
cmake_minimum_required(VERSION 3.16)
include("${CMAKE_CURRENT_LIST_DIR}/InstallLayout.cmake")

# install_names(<Qt> <suffix>) sets `files_<Qt>`, relative to the prefix.
function(install_names qt suffix)
  set(build "${WORK_DIR}/qt${qt}")
  run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${build}" "-DTARVO_QT=${qt}"
    "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_PREFIX_PATH=${PREFIX_PATH}" "-DLZMASDK_SOURCE_DIR=${LZMASDK_SOURCE_DIR}"
    -DCMAKE_INSTALL_LIBDIR=lib -DTARVO_BUILD_TESTS=OFF
    -DCMAKE_SKIP_RPATH=ON) # there is none in an empty file
  foreach(library IN ITEMS libtarvoclient host/libtarvohost)
    foreach(ending IN ITEMS so so.1 so.${VERSION})
      file(WRITE "${build}/${library}${suffix}.${ending}" "")
    endforeach()
  endforeach()
  foreach(program IN ITEMS presenter/tarvo-presenter desktop/window/tarvo-desktop)
    file(WRITE "${build}/examples/${program}" "")
  endforeach()
  run(${CMAKE_COMMAND} --install "${build}" --prefix "${WORK_DIR}/prefix-${qt}")
  file(GLOB_RECURSE files RELATIVE "${WORK_DIR}/prefix-${qt}" "${WORK_DIR}/prefix-${qt}/*")
  set(files_${qt} ${files} PARENT_SCOPE)
endfunction()

function(expect_installed qt)
  foreach(file IN LISTS ARGN)
    if(NOT file IN_LIST files_${qt})
      list(JOIN files_${qt} "\n  " files)
      message(FATAL_ERROR "With Qt ${qt}, ${file} is missing among\n  ${files}")
    endif()
  endforeach()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
install_names(5 "")
install_names(6 -qt6)

expect_installed(5 lib/libtarvoclient.so.1 lib/libtarvohost.so.1 include/tarvoclient/client/PresenterClient.h
  lib/cmake/TarvoClient/TarvoClientConfig.cmake lib/cmake/TarvoClient/TarvoClientHostTargets.cmake
  lib/pkgconfig/tarvoclient.pc lib/pkgconfig/tarvohost.pc)
expect_installed(6 lib/libtarvoclient-qt6.so.1 lib/libtarvohost-qt6.so.1
  include/tarvoclient-qt6/client/PresenterClient.h
  lib/cmake/TarvoClientQt6/TarvoClientQt6Config.cmake lib/cmake/TarvoClientQt6/TarvoClientQt6HostTargets.cmake
  lib/pkgconfig/tarvoclient-qt6.pc lib/pkgconfig/tarvohost-qt6.pc)

# The programs are the same for teachers, whatever they are built with.
set(common ${files_5})
list(FILTER common EXCLUDE REGEX "^(bin|share)/")
foreach(file IN LISTS common)
  if(file IN_LIST files_6)
    message(FATAL_ERROR "${file} is installed with Qt 5 and with Qt 6.")
  endif()
endforeach()
list(LENGTH files_5 count_5)
list(LENGTH files_6 count_6)
if(NOT count_5 EQUAL count_6)
  message(FATAL_ERROR "With Qt 5 there are ${count_5} files, and with Qt 6 ${count_6}.")
endif()
