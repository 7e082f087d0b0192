# cmake -D SOURCE_DIR=... -D VERSION=... -P CheckPackages.cmake
#
# The packages have the version of the tree, unreleased as long as CHANGELOG.md says so, and docs/packages.md lists
# each of them.
cmake_minimum_required(VERSION 3.16)

file(READ "${SOURCE_DIR}/CHANGELOG.md" changes)
file(READ "${SOURCE_DIR}/debian/changelog" packaged)
file(READ "${SOURCE_DIR}/debian/control" control)
file(READ "${SOURCE_DIR}/docs/packages.md" page)

if(changes MATCHES "\n## ${VERSION}, unreleased\n")
  set(expected "^tarvoclient [(]${VERSION}~dev[0-9]+[)] UNRELEASED; ")
elseif(changes MATCHES "\n## ${VERSION}, ")
  set(expected "^tarvoclient [(]${VERSION}[)] [a-z]+; ")
else()
  message(FATAL_ERROR "CHANGELOG.md has no section on ${VERSION}.")
endif()
if(NOT packaged MATCHES "${expected}")
  string(REGEX MATCH "^[^\n]*" line "${packaged}")
  message(FATAL_ERROR "debian/changelog begins with\n${line}\ninstead of\n${expected}")
endif()

string(REGEX MATCHALL "\nPackage: [^\n]+" packages "${control}")
list(TRANSFORM packages REPLACE "\nPackage: " "")
string(REGEX MATCHALL "\n[|] `[a-z0-9-]+` [|]" listed "${page}")
list(TRANSFORM listed REPLACE "[\n|` ]" "")
list(SORT packages)
list(SORT listed)
if(NOT packages OR NOT listed STREQUAL packages)
  message(FATAL_ERROR "docs/packages.md lists\n${listed}\nand debian/control has\n${packages}")
endif()
