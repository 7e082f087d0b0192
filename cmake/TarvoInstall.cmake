# Installs the library and the host kit, their headers under include/tarvoclient/ with the tree's relative
# paths, the CMake package TarvoClient and the pkg-config files tarvoclient.pc and tarvohost.pc; for Qt 6, under
# include/tarvoclient-qt6/, TarvoClientQt6, tarvoclient-qt6.pc and tarvohost-qt6.pc.

include(CMakePackageConfigHelpers)
set(TARVO_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/${TARVO_PACKAGE}")

set(tarvo_installed_libraries tarvoclient tarvohost)
# The kit finds the library beside itself, wherever the tree is moved.
set_target_properties(tarvohost PROPERTIES
  BUILD_RPATH_USE_ORIGIN ON
  INSTALL_RPATH "$ORIGIN")

# The kit has a file of its own in the CMake package, so that the library can be there without it.
set(tarvo_export_of_tarvoclient ${TARVO_PACKAGE}Targets)
set(tarvo_export_of_tarvohost ${TARVO_PACKAGE}HostTargets)

foreach(library IN LISTS tarvo_installed_libraries)
  install(TARGETS ${library} EXPORT ${tarvo_export_of_${library}}
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  get_target_property(headers ${library} TARVO_PUBLIC_HEADERS)
  foreach(header IN LISTS headers)
    get_filename_component(folder "${header}" DIRECTORY)
    install(FILES "${PROJECT_SOURCE_DIR}/${header}"
      DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/tarvoclient${TARVO_SUFFIX}/${folder}")
  endforeach()
  install(EXPORT ${tarvo_export_of_${library}}
    NAMESPACE ${TARVO_PACKAGE}::
    DESTINATION "${TARVO_CMAKE_DIR}")
endforeach()

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/TarvoClientConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/${TARVO_PACKAGE}Config.cmake"
  INSTALL_DESTINATION "${TARVO_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/${TARVO_PACKAGE}ConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/${TARVO_PACKAGE}Config.cmake"
  "${PROJECT_BINARY_DIR}/${TARVO_PACKAGE}ConfigVersion.cmake"
  DESTINATION "${TARVO_CMAKE_DIR}")

# A pkg-config file names the prefix relative to the folder that it lies in, so it is right under any prefix
# that is named at installation, and after the tree was moved. An absolute library folder does not lead
# to the prefix; the file then names that of the configuration, as the CMake package does. The file gives
# hosts -fPIC, which Qt's headers demand and Qt's own files leave out.
function(tarvo_install_pkg_config library)
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
  set(file "${PROJECT_BINARY_DIR}/${library}${TARVO_SUFFIX}.pc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in" "${file}" @ONLY)
  install(FILES "${file}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()

foreach(library IN LISTS tarvo_installed_libraries)
  tarvo_install_pkg_config(${library})
endforeach()
