# Installs the library, its headers under include/tarvoclient/ with the tree's relative paths, the
# CMake package TarvoClient and the pkg-config file tarvoclient.pc.

include(CMakePackageConfigHelpers)
set(TARVO_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/TarvoClient")

install(TARGETS tarvoclient EXPORT TarvoClientTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")

get_target_property(tarvo_public_headers tarvoclient TARVO_PUBLIC_HEADERS)
foreach(header IN LISTS tarvo_public_headers)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/tarvoclient/${folder}")
endforeach()

install(EXPORT TarvoClientTargets
  NAMESPACE TarvoClient::
  DESTINATION "${TARVO_CMAKE_DIR}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/TarvoClientConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/TarvoClientConfig.cmake"
  INSTALL_DESTINATION "${TARVO_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TarvoClientConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/TarvoClientConfig.cmake"
  "${PROJECT_BINARY_DIR}/TarvoClientConfigVersion.cmake"
  DESTINATION "${TARVO_CMAKE_DIR}")

# tarvoclient.pc names the prefix relative to the folder that it lies in, so it is right under any prefix
# that is named at installation, and after the tree was moved. An absolute library folder does not lead
# to the prefix; the file then names that of the configuration, as the CMake package does. The file gives
# hosts -fPIC, which Qt's headers demand and Qt's own files leave out.
function(tarvo_configure_pkg_config file)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(prefix "${CMAKE_INSTALL_PREFIX}")
    set(libdir "${CMAKE_INSTALL_LIBDIR}")
  else()
    file(RELATIVE_PATH up "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(prefix "\${pcfiledir}/${up}")
    set(libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  endif()
  if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(includedir "${CMAKE_INSTALL_INCLUDEDIR}")
  else()
    set(includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/tarvoclient.pc.in" "${file}" @ONLY)
endfunction()

tarvo_configure_pkg_config("${PROJECT_BINARY_DIR}/tarvoclient.pc")
install(FILES "${PROJECT_BINARY_DIR}/tarvoclient.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
