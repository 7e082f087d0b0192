# cmake -D SOURCE_DIR=... -P CheckPage.cmake
#
# What docs/building.md says of options, presets, versions and packages is what the build has.
cmake_minimum_required(VERSION 3.16)

file(READ "${SOURCE_DIR}/docs/building.md" page)
file(READ "${SOURCE_DIR}/CMakeLists.txt" build)
file(READ "${SOURCE_DIR}/CMakePresets.json" presets)
file(READ "${SOURCE_DIR}/scripts/setup" setup)
string(REPLACE ";" "," page "${page}") # it would part lists
string(REGEX REPLACE "[$]{[a-zA-Z]+}" "" presets "${presets}") # so that "}" ends an object

function(expect_same what actual expected)
  list(SORT actual)
  list(SORT expected)
  if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "docs/building.md, ${what}:\n${actual}\nThe build has:\n${expected}")
  endif()
endfunction()

# all_of(<result> <pattern> <replacement> <text>) lists what the pattern finds, rewritten.
function(all_of result pattern replacement text)
  string(REGEX MATCHALL "${pattern}" found "${text}")
  list(TRANSFORM found REPLACE "${pattern}" "${replacement}")
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

# ---- Options: name and default ----

all_of(said "\n[|] `(TARVO_[A-Z_]+)` [|] `([A-Z0-9]+)` [|]" "\\1=\\2" "${page}")
string(REPLACE "\${default}" ON build "${build}") # with Qt 5
all_of(options "option[(](TARVO_[A-Z_]+) \"[^\"]*\" ([A-Z]+)[)]" "\\1=\\2" "${build}")
all_of(values "set[(](TARVO_[A-Z_]+) ([A-Z0-9]+) CACHE" "\\1=\\2" "${build}")
expect_same("the options and their defaults" "${said}" "${options};${values}")

# ---- Presets: their names, and what they switch on ----

# Those that inherit are not hidden.
all_of(names "\"name\": \"([a-z0-9-]+)\",[ \n]*\"inherits\"" "\\1" "${presets}")
all_of(said "\n[|] `([a-z0-9-]+)` [|]" "\\1" "${page}")
expect_same("the presets" "${said}" "${names}")

string(REGEX MATCH "\"name\": \"base\"[^}]*" base "${presets}")
all_of(everywhere "\"(TARVO_[A-Z_]+)\": \"ON\"" "\\1" "${base}")
all_of(said "\n[|] `(TARVO_[A-Z_]+)` [^\n]*on in every preset [|]" "\\1" "${page}")
expect_same("what is on in every preset" "${said}" "${everywhere}")

foreach(option IN ITEMS TARVO_SANITIZE TARVO_SANITIZE_THREADS)
  set(switching "")
  foreach(name IN LISTS names)
    string(REGEX MATCH "\"name\": \"${name}\",[ \n]*\"inherits\"[^}]*" preset "${presets}")
    if(preset MATCHES "\"${option}\": \"ON\"")
      list(APPEND switching ${name})
    endif()
  endforeach()
  string(REGEX MATCH "\n[|] `${option}` [^\n]*" row "${page}")
  all_of(said "`([a-z]+)`" "\\1" "${row}")
  expect_same("the presets that switch on ${option}" "${said}" "${switching}")
endforeach()

# ---- Versions ----

function(expect_version words text pattern)
  string(REGEX MATCH "${pattern}" found "${text}")
  string(REPLACE "VERSION" "${CMAKE_MATCH_1}" words "${words}")
  string(FIND "${page}" "${words}" at)
  if(NOT found OR at EQUAL -1)
    message(FATAL_ERROR "docs/building.md does not say \"${words}\".")
  endif()
endfunction()

expect_version("CMake VERSION or newer" "${build}" "cmake_minimum_required[(]VERSION ([0-9.]+)[)]")
expect_version("Qt VERSION (" "${build}" "TARVO_MINIMAL_QT_5 ([0-9.]+)")
expect_version("Qt VERSION or newer" "${build}" "TARVO_MINIMAL_QT_6 ([0-9.]+)")
expect_version("Node.js VERSION," "${build}" "TARVO_NODE_VERSION ([0-9.]+)")
expect_version("Node.js VERSION," "${setup}" "MIN_NODE=([0-9.]+)")
string(REGEX REPLACE "\"major\": ([0-9]+), \"minor\": ([0-9]+)" "\\1.\\2" flat "${presets}")
expect_version("CMake VERSION and Ninja" "${flat}" "\"cmakeMinimumRequired\": { ([0-9.]+)")

# ---- Packages: whatever a page or a message names is one that scripts/setup knows ----

string(REGEX MATCH "PACKAGES=[(][^)]*" table "${setup}")
all_of(known "[a-z][a-z0-9+.-]+" "\\0" "${table}")
list(APPEND known nodejs npm)
list(APPEND known binutils) # comes with build-essential
file(GLOB files "${SOURCE_DIR}/*.md" "${SOURCE_DIR}/docs/*.md" "${SOURCE_DIR}/cmake/*.cmake")
set(count 0)
foreach(file IN LISTS files)
  file(READ "${file}" text)
  string(REGEX REPLACE "[ \n]+" " " text "${text}")
  all_of(named "(Debian package `?|the package `)([a-z][a-z0-9-]+)`?[).]" "\\2" "${text}")
  all_of(several "Debian packages ([a-z0-9, -]+)[)]" "\\1" "${text}")
  string(REGEX REPLACE ", | and " ";" several "${several}")
  foreach(package IN LISTS named several)
    math(EXPR count "${count} + 1")
    if(NOT package IN_LIST known)
      message(FATAL_ERROR "${file} names the package ${package}, which scripts/setup does not install.")
    endif()
  endforeach()
endforeach()
if(count LESS 12)
  message(FATAL_ERROR "Only ${count} packages were found.")
endif()
