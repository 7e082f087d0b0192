# Installs the libraries in folders of a test's choice. Needs SOURCE_DIR, BUILD_DIR (where they were built),
# QT (its major version), SUFFIX (of the libraries' names), WORK_DIR, C_COMPILER, CXX_COMPILER, PREFIX_PATH and
# LZMASDK_SOURCE_DIR.

unset(ENV{DESTDIR}) # where the caller stages is not for us

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGV}")
    message(FATAL_ERROR "Failed (${result}): ${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# install_layout(<prefix> argument...)
#
# Configures the tree with the arguments, for another prefix than the one it is then installed under.
# The libraries are not built once more: the built ones are lent to it.
function(install_layout prefix)
  set(build "${WORK_DIR}/layout")
  file(REMOVE "${build}/CMakeCache.txt")
  run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${build}"
    "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_PREFIX_PATH=${PREFIX_PATH}" "-DLZMASDK_SOURCE_DIR=${LZMASDK_SOURCE_DIR}"
    "-DTARVO_QT=${QT}" -DTARVO_BUILD_TESTS=OFF -DTARVO_BUILD_EXAMPLES=OFF
    "-DCMAKE_INSTALL_PREFIX=${WORK_DIR}/configured" ${ARGN})
  file(GLOB libraries "${BUILD_DIR}/libtarvoclient${SUFFIX}.so*")
  file(COPY ${libraries} DESTINATION "${build}")
  file(GLOB libraries "${BUILD_DIR}/host/libtarvohost${SUFFIX}.so*")
  file(COPY ${libraries} DESTINATION "${build}/host")
  run(${CMAKE_COMMAND} --install "${build}" --prefix "${prefix}")
endfunction()
