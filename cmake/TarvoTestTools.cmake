# What the tests need beyond what the library needs. A test whose tool is missing is left out, or, with
# TARVO_REQUIRE_ALL_TESTS, nothing is configured. To do without a tool that is there, set its variable
# to OFF, or CMAKE_DISABLE_FIND_PACKAGE_<package> to ON.

# Where Debian has them.
set(TARVO_QUICK_PACKAGES_5 "qtdeclarative5-dev and qml-module-qtquick2")
set(TARVO_QUICK_PACKAGES_6 "qt6-declarative-dev, qml6-module-qtquick and qml6-module-qtqml-workerscript")
set(TARVO_QUICK_FOLDER_5 QtQuick.2)
set(TARVO_QUICK_FOLDER_6 QtQuick)

foreach(module IN ITEMS Test Widgets Quick Sql)
  find_package(Qt${TARVO_QT} ${TARVO_MINIMAL_QT} QUIET COMPONENTS ${module})
endforeach()
if(TARGET Qt6::Test)
  # Qt 6 names the folders of each test in definitions that nothing here needs, and that keep folders from sharing
  # precompiled headers.
  get_target_property(definitions Qt6::Test INTERFACE_COMPILE_DEFINITIONS)
  list(FILTER definitions EXCLUDE REGEX QT_TESTCASE_)
  set_target_properties(Qt6::Test PROPERTIES INTERFACE_COMPILE_DEFINITIONS "${definitions}")
endif()
find_package(LibLZMA QUIET)
find_package(Node ${TARVO_NODE_VERSION} QUIET)
find_package(PkgConfig QUIET)
find_package(TerminalLibraries QUIET)
find_package(QrEncode QUIET)
if(TARGET Qt${TARVO_QT}::qmake)
  get_target_property(qmake Qt${TARVO_QT}::qmake IMPORTED_LOCATION)
  execute_process(COMMAND "${qmake}" -query QT_INSTALL_QML
    OUTPUT_VARIABLE qml_folder
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
endif()
find_file(QT_QUICK_MODULE ${TARVO_QUICK_FOLDER_${TARVO_QT}}/qmldir
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
find_program(DOXYGEN_EXECUTABLE doxygen DOC "Doxygen, which makes the reference")
find_program(DOT_EXECUTABLE dot DOC "Graphviz, which draws the reference's pictures")
# Where Debian has those of Qt 5 and of Qt 6; the one in the path may be a stand-in for neither.
find_program(QHELPGENERATOR_EXECUTABLE qhelpgenerator
  HINTS /usr/lib/qt5/bin /usr/lib/qt6/libexec
  DOC "The Qt program that packs the reference for Qt Assistant")
if(TARVO_QT EQUAL 6)
  # Not find_package, which would mix the two.
  find_file(QT5_PACKAGE Qt5WebSockets/Qt5WebSocketsConfig.cmake
    PATHS "${Qt6_DIR}/.."
    NO_DEFAULT_PATH
    DOC "The CMake package of Qt 5, beside which Qt 6 is tested")
  mark_as_advanced(QT5_PACKAGE)
endif()
find_program(ABIDW_EXECUTABLE abidw DOC "libabigail, by which scripts/abi describes an interface")
find_program(GIT_EXECUTABLE git DOC "git, from which scripts/abi has the commit that was recorded")
mark_as_advanced(QT_QUICK_MODULE LZMA_ALONE_EXECUTABLE OPENSSL_EXECUTABLE CLASSROOM_PACKAGES
  CHROMIUM_EXECUTABLE FIREFOX_EXECUTABLE BROWSER_PACKAGES XVFB_RUN_EXECUTABLE DOXYGEN_EXECUTABLE DOT_EXECUTABLE
  QHELPGENERATOR_EXECUTABLE ABIDW_EXECUTABLE GIT_EXECUTABLE)

if(Qt${TARVO_QT}Quick_FOUND AND QT_QUICK_MODULE)
  set(has_quick TRUE)
else()
  set(has_quick FALSE)
endif()

if(Qt${TARVO_QT}Sql_FOUND AND DOXYGEN_EXECUTABLE AND DOT_EXECUTABLE AND QHELPGENERATOR_EXECUTABLE)
  set(has_reference TRUE)
else()
  set(has_reference FALSE)
endif()

if(Qt${TARVO_QT}Widgets_FOUND AND QrEncode_FOUND)
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

tarvo_test_tool(qt_test "${Qt${TARVO_QT}Test_FOUND}" "Qt Test (Debian package ${TARVO_BASE_PACKAGE})")
tarvo_test_tool(widgets "${Qt${TARVO_QT}Widgets_FOUND}"
  "Qt Widgets (Debian package ${TARVO_BASE_PACKAGE})")
tarvo_test_tool(quick ${has_quick}
  "Qt Quick (Debian packages ${TARVO_QUICK_PACKAGES_${TARVO_QT}})")
tarvo_test_tool(examples "${TARVO_BUILD_EXAMPLES}" "the examples (TARVO_BUILD_EXAMPLES)")
tarvo_test_tool(terminal "${TerminalLibraries_FOUND}" "${TerminalLibraries_NAMES}")
tarvo_test_tool(desktop ${has_desktop}
  "Qt Widgets and libqrencode (Debian packages ${TARVO_BASE_PACKAGE} and libqrencode-dev)")
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
if(TARVO_QT EQUAL 6)
  tarvo_test_tool(qt5 "${QT5_PACKAGE}" "Qt 5 (Debian packages qtbase5-dev and libqt5websockets5-dev)")
endif()
tarvo_test_tool(pkg_config "${PKG_CONFIG_FOUND}" "pkg-config (Debian package pkg-config)")
tarvo_test_tool(nm "${CMAKE_NM}" "nm (Debian package binutils)")
tarvo_test_tool(abidw "${ABIDW_EXECUTABLE}" "abidw (Debian package abigail-tools)")
tarvo_test_tool(git "${GIT_EXECUTABLE}" "git (Debian package git)")
tarvo_test_tool(reference ${has_reference}
  "what makes the reference (Debian packages doxygen, graphviz, qhelpgenerator-qt5 and ${TARVO_BASE_PACKAGE})")
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
