# The installed pkg-config files and the CMake package name the places where the tree was installed,
# whatever its folders are called: the files are used as they were installed.
cmake_minimum_required(VERSION 3.16)
include("${CMAKE_CURRENT_LIST_DIR}/InstallLayout.cmake")

# expect_pc(<folder> <prefix> <libdir> <includedir>) compares both files whole.
function(expect_pc folder prefix libdir includedir)
  string(CONCAT places "prefix=${prefix}\n" "libdir=${libdir}\n" "includedir=${includedir}\n" "\n")
  expect_text("${folder}/tarvoclient${SUFFIX}.pc" "${places}"
    "Name: tarvoclient${SUFFIX}\n"
    "Description: Client library for live classroom sessions\n"
    "Version: ${VERSION}\n"
    "Requires: Qt${QT}Core >= ${MINIMAL_QT} Qt${QT}Network >= ${MINIMAL_QT} Qt${QT}WebSockets >= ${MINIMAL_QT}\n"
    "Libs: -L\${libdir} -ltarvoclient${SUFFIX}\n"
    "Cflags: -I\${includedir} -fPIC\n")
  expect_text("${folder}/tarvohost${SUFFIX}.pc" "${places}"
    "Name: tarvohost${SUFFIX}\n"
    "Description: Host kit on top of tarvoclient: a live class as one object\n"
    "Version: ${VERSION}\n"
    "Requires: tarvoclient${SUFFIX}\n"
    "Libs: -L\${libdir} -ltarvohost${SUFFIX}\n"
    "Cflags: -I\${includedir} -fPIC\n")
endfunction()

function(expect_text file)
  file(READ "${file}" actual)
  string(CONCAT expected ${ARGN})
  if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "${file} reads\n${actual}\ninstead of\n${expected}")
  endif()
endfunction()

# expect_flags(<pkg-config folder> <header folder> <library folder>) compares the flags that are not the
# toolkit's.
function(expect_flags folder headers libraries)
  set(ENV{PKG_CONFIG_PATH} "${folder}")
  set(common "-I${headers}" -fPIC "-L${libraries}")
  expect_flags_of(tarvoclient${SUFFIX} ${common} -ltarvoclient${SUFFIX})
  expect_flags_of(tarvohost${SUFFIX} ${common} -ltarvohost${SUFFIX} -ltarvoclient${SUFFIX})
endfunction()

function(expect_flags_of library)
  execute_process(COMMAND "${PKG_CONFIG}" --cflags --libs ${library}
    OUTPUT_VARIABLE flags ERROR_VARIABLE error RESULT_VARIABLE result)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  list(FILTER flags EXCLUDE REGEX "^-lQt${QT}|/qt${QT}(/(Qt[A-Za-z]+|mkspecs/.*))?$|^-DQT_")
  if(NOT result EQUAL 0 OR NOT flags STREQUAL "${ARGN}")
    message(FATAL_ERROR "pkg-config gives ${flags}\n${error}instead of ${ARGN}")
  endif()
endfunction()

# expect_package(<package folder> <library folder> <header folder>)
function(expect_package folder libraries headers)
  run(${CMAKE_COMMAND} -S "${CMAKE_CURRENT_LIST_DIR}/package" -B "${WORK_DIR}/package"
    "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_PREFIX_PATH=${PREFIX_PATH}"
    "-DPACKAGE=${PACKAGE}" "-D${PACKAGE}_DIR=${folder}")
  string(CONCAT expected "-- headers: ${headers}\n"
    "-- library: ${libraries}/libtarvoclient${SUFFIX}.so.${VERSION}\n"
    "-- kit: ${libraries}/libtarvohost${SUFFIX}.so.${VERSION}\n")
  string(FIND "${output}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "The package in ${folder} says\n${output}instead of\n${expected}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(tree "${WORK_DIR}/tree")

install_layout("${tree}" -DCMAKE_INSTALL_LIBDIR=lib)
expect_pc("${tree}/lib/pkgconfig"
  "\${pcfiledir}/../.." "\${prefix}/lib" "\${prefix}/include/tarvoclient${SUFFIX}")
expect_flags("${tree}/lib/pkgconfig"
  "${tree}/lib/pkgconfig/../../include/tarvoclient${SUFFIX}" "${tree}/lib/pkgconfig/../../lib")
expect_package("${tree}/lib/cmake/${PACKAGE}" "${tree}/lib" "${tree}/include/tarvoclient${SUFFIX}")

file(RENAME "${tree}" "${WORK_DIR}/moved")
set(tree "${WORK_DIR}/moved")
expect_flags("${tree}/lib/pkgconfig"
  "${tree}/lib/pkgconfig/../../include/tarvoclient${SUFFIX}" "${tree}/lib/pkgconfig/../../lib")
expect_package("${tree}/lib/cmake/${PACKAGE}" "${tree}/lib" "${tree}/include/tarvoclient${SUFFIX}")

set(tree "${WORK_DIR}/multiarch")
install_layout("${tree}"
  -DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu -DCMAKE_INSTALL_INCLUDEDIR=include/x86_64-linux-gnu)
set(folder "${tree}/lib/x86_64-linux-gnu/pkgconfig")
expect_pc("${folder}" "\${pcfiledir}/../../.."
  "\${prefix}/lib/x86_64-linux-gnu" "\${prefix}/include/x86_64-linux-gnu/tarvoclient${SUFFIX}")
expect_flags("${folder}"
  "${folder}/../../../include/x86_64-linux-gnu/tarvoclient${SUFFIX}" "${folder}/../../../lib/x86_64-linux-gnu")
expect_package("${tree}/lib/x86_64-linux-gnu/cmake/${PACKAGE}" "${tree}/lib/x86_64-linux-gnu"
  "${tree}/include/x86_64-linux-gnu/tarvoclient${SUFFIX}")

# Absolute folders stay where they are; what lies beside them is under the prefix of the configuration.
set(tree "${WORK_DIR}/configured")
set(libraries "${WORK_DIR}/absolute/libraries")
install_layout("${tree}" "-DCMAKE_INSTALL_LIBDIR=${libraries}")
expect_pc("${libraries}/pkgconfig"
  "${tree}" "${libraries}" "\${prefix}/include/tarvoclient${SUFFIX}")
expect_flags("${libraries}/pkgconfig"
  "${tree}/include/tarvoclient${SUFFIX}" "${libraries}")
expect_package("${libraries}/cmake/${PACKAGE}" "${libraries}" "${tree}/include/tarvoclient${SUFFIX}")

# Staged, since CMake takes no absolute header folder that lies in the source tree.
set(ENV{DESTDIR} "${WORK_DIR}/root")
install_layout(/opt/classroom -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_INCLUDEDIR=/opt/headers)
set(tree "${WORK_DIR}/root/opt/classroom")
expect_pc("${tree}/lib/pkgconfig"
  "\${pcfiledir}/../.." "\${prefix}/lib" "/opt/headers/tarvoclient${SUFFIX}")
expect_flags("${tree}/lib/pkgconfig"
  "/opt/headers/tarvoclient${SUFFIX}" "${tree}/lib/pkgconfig/../../lib")
expect_package("${tree}/lib/cmake/${PACKAGE}" "${tree}/lib" "/opt/headers/tarvoclient${SUFFIX}")
