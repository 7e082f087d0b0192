# What the tests need beyond what the library needs. A test whose tool is missing is left out, or, with
# TARVO_REQUIRE_ALL_TESTS, nothing is configured. To do without a tool that is there, set its variable
# to OFF, or CMAKE_DISABLE_FIND_PACKAGE_<package> to ON.

find_package(Qt5 5.15 QUIET COMPONENTS Test)
find_package(Qt5 5.15 QUIET COMPONENTS Widgets)
find_package(Qt5 5.15 QUIET COMPONENTS Quick)
find_package(LibLZMA QUIET)
find_package(Node ${TARVO_NODE_VERSION} QUIET)
find_package(PkgConfig QUIET)
find_package(TerminalLibraries QUIET)
find_package(QrEncode QUIET)
if(TARGET Qt5::qmake)
  get_target_property(qmake Qt5::qmake IMPORTED_LOCATION)
  execute_process(COMMAND "${qmake}" -query QT_INSTALL_QML
    OUTPUT_VARIABLE qml_folder
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
endif()
find_file(QT_QUICK_MODULE QtQuick.2/qmldir
  PATHS "${qml_folder}"
  NO_DEFAULT_PATH
  DOC "The QML module QtQuick, which programs load when they run")
find_program(LZMA_ALONE_EXECUTABLE lzma_alone DOC "The LZMA SDK's own program")
find_program(OPENSSL_EXECUTABLE openssl DOC "openssl, which makes the tests' certificates")
find_file(CLASSROOM_PACKAGES .package-lock.json
  PATHS "${PROJECT_SOURCE_DIR}/classroom/node_modules"
  NO_DEFAULT_PATH
  DOC "npm's list of the packages that it installed for the classroom service")
find_program(CHROMIUM_EXECUTABLE chromium DOC "The browser in which the classroom's pages are tested")
find_program(FIREFOX_EXECUTABLE firefox-esr DOC "Another browser in which the classroom's pages are tested")
find_file(BROWSER_PACKAGES .package-lock.json
  PATHS "${PROJECT_SOURCE_DIR}/tests/browser/node_modules"
  NO_DEFAULT_PATH
  DOC "npm's list of the packages that it installed for the tests in a browser")
find_program(XVFB_RUN_EXECUTABLE xvfb-run DOC "A display that nobody sees, for tests with windows")
find_package(Qt5 5.15 QUIET COMPONENTS Sql)
find_program(DOXYGEN_EXECUTABLE doxygen DOC "Doxygen, which makes the reference")
find_program(DOT_EXECUTABLE dot DOC "Graphviz, which draws the reference's pictures")
# Where Debian has those of Qt 5 and of Qt 6; the one in the path may be a stand-in for neither.
find_program(QHELPGENERATOR_EXECUTABLE qhelpgenerator
  HINTS /usr/lib/qt5/bin /usr/lib/qt6/libexec
  DOC "The Qt program that packs the reference for Qt Assistant")
mark_as_advanced(QT_QUICK_MODULE LZMA_ALONE_EXECUTABLE OPENSSL_EXECUTABLE CLASSROOM_PACKAGES
  CHROMIUM_EXECUTABLE FIREFOX_EXECUTABLE BROWSER_PACKAGES XVFB_RUN_EXECUTABLE DOXYGEN_EXECUTABLE DOT_EXECUTABLE
  QHELPGENERATOR_EXECUTABLE)

if(Qt5Quick_FOUND AND QT_QUICK_MODULE)
  set(has_quick TRUE)
else()
  set(has_quick FALSE)
endif()

if(Qt5Sql_FOUND AND DOXYGEN_EXECUTABLE AND DOT_EXECUTABLE AND QHELPGENERATOR_EXECUTABLE)
  set(has_reference TRUE)
else()
  set(has_reference FALSE)
endif()

if(Qt5Widgets_FOUND AND QrEncode_FOUND)
  set(has_desktop TRUE)
else()
  set(has_desktop FALSE)
endif()

set(TARVO_TEST_TOOLS "")

# tarvo_test_tool(<tool> <found> <what messages call it>)
macro(tarvo_test_tool tool found name)
  list(APPEND TARVO_TEST_TOOLS ${tool})
  set(TARVO_TOOL_${tool}_FOUND "${found}")
  set(TARVO_TOOL_${tool}_NAME "${name}")
endmacro()

tarvo_test_tool(qt_test "${Qt5Test_FOUND}" "Qt Test (Debian package qtbase5-dev)")
tarvo_test_tool(widgets "${Qt5Widgets_FOUND}" "Qt Widgets (Debian package qtbase5-dev)")
tarvo_test_tool(quick ${has_quick}
  "Qt Quick (Debian packages qtdeclarative5-dev and qml-module-qtquick2)")
tarvo_test_tool(examples "${TARVO_BUILD_EXAMPLES}" "the examples (TARVO_BUILD_EXAMPLES)")
tarvo_test_tool(terminal "${TerminalLibraries_FOUND}" "${TerminalLibraries_NAMES}")
tarvo_test_tool(desktop ${has_desktop}
  "Qt Widgets and libqrencode (Debian packages qtbase5-dev and libqrencode-dev)")
tarvo_test_tool(liblzma "${LibLZMA_FOUND}" "liblzma (Debian package liblzma-dev)")
tarvo_test_tool(lzma_alone "${LZMA_ALONE_EXECUTABLE}" "lzma_alone (Debian package lzma-alone)")
tarvo_test_tool(node "${Node_FOUND}" "Node.js ${TARVO_NODE_VERSION} (Debian package nodejs)")
tarvo_test_tool(classroom "${CLASSROOM_PACKAGES}"
  "the classroom's packages (Debian package npm, then scripts/setup classroom)")
tarvo_test_tool(openssl "${OPENSSL_EXECUTABLE}" "openssl (Debian package openssl)")
tarvo_test_tool(chromium "${CHROMIUM_EXECUTABLE}" "Chromium (Debian package chromium)")
tarvo_test_tool(firefox "${FIREFOX_EXECUTABLE}" "Firefox (Debian package firefox-esr)")
tarvo_test_tool(browser_packages "${BROWSER_PACKAGES}"
  "the browser tests' packages (Debian package npm, then scripts/setup browser)")
tarvo_test_tool(xvfb "${XVFB_RUN_EXECUTABLE}"
  "a display that nobody sees (Debian packages xvfb and xauth)")
tarvo_test_tool(pkg_config "${PKG_CONFIG_FOUND}" "pkg-config (Debian package pkg-config)")
tarvo_test_tool(nm "${CMAKE_NM}" "nm (Debian package binutils)")
tarvo_test_tool(reference ${has_reference}
  "what makes the reference (Debian packages doxygen, graphviz, qhelpgenerator-qt5 and qtbase5-dev)")
if(IS_ABSOLUTE "${CMAKE_INSTALL_BINDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(is_movable FALSE)
else()
  set(is_movable TRUE)
endif()
tarvo_test_tool(movable_tree ${is_movable} "relative CMAKE_INSTALL_BINDIR and CMAKE_INSTALL_LIBDIR")

# tarvo_can_test(<result> <test> tool...)
#
# Sets <result> to whether everything that <test> needs is there; otherwise says what it lacks.
function(tarvo_can_test result test)
  set(lacking "")
  foreach(tool IN LISTS TARVO_TEST_TOOLS)
    if(tool IN_LIST ARGN AND NOT TARVO_TOOL_${tool}_FOUND)
      list(APPEND lacking "${TARVO_TOOL_${tool}_NAME}")
    endif()
  endforeach()
  if(lacking)
    list(JOIN lacking " and " lacking)
    message(STATUS "Left out: test ${test}, which needs ${lacking}")
    set(${result} FALSE PARENT_SCOPE)
  else()
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()

function(tarvo_require_all_test_tools)
  set(lacking "")
  foreach(tool IN LISTS TARVO_TEST_TOOLS)
    if(NOT TARVO_TOOL_${tool}_FOUND)
      string(APPEND lacking "  ${TARVO_TOOL_${tool}_NAME}\n") # indented lines are kept as they are
    endif()
  endforeach()
  if(lacking)
    message(FATAL_ERROR
      "TARVO_REQUIRE_ALL_TESTS is on, but some tests lack what they need:\n${lacking}"
      "scripts/setup build test classroom browser desktop installs the packages.")
  endif()
endfunction()

if(TARVO_REQUIRE_ALL_TESTS)
  tarvo_require_all_test_tools()
endif()
