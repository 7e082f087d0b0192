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

configure_file("${PROJECT_SOURCE_DIR}/cmake/tarvoclient.pc.in"
  "${PROJECT_BINARY_DIR}/tarvoclient.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/tarvoclient.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
