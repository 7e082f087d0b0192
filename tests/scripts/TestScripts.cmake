# cmake -D SOURCE_DIR=... -D WORK_DIR=... -P TestScripts.cmake
#
# The scripts in a tree of their own, where everything that they call only writes down that it was called.
cmake_minimum_required(VERSION 3.16)

set(tree "${WORK_DIR}/tree")
set(stand_ins "${WORK_DIR}/stand-ins")
set(calls_file "${WORK_DIR}/calls")
set(elsewhere "${WORK_DIR}/elsewhere")

function(stand_in file text)
  file(WRITE "${file}" "#!/bin/sh\n${text}\n")
  execute_process(COMMAND chmod +x "${file}")
endfunction()

set(write_down "echo \"$(basename \"$0\") $*\" >>\"${calls_file}\"")

function(set_up)
  file(REMOVE_RECURSE "${WORK_DIR}")
  foreach(part IN ITEMS scripts docs benchmarks fuzz README.md CONTRIBUTING.md)
    file(COPY "${SOURCE_DIR}/${part}" DESTINATION "${tree}")
  endforeach()
  foreach(program IN ITEMS apt-get sudo npm cmake ctest clang-format clang-tidy clazy-standalone git
      llvm-cov llvm-profdata)
    stand_in("${stand_ins}/${program}" "${write_down}")
  endforeach()
  stand_in("${stand_ins}/dpkg-query" "test -z \"$MISSING\" && echo installed")
  stand_in("${stand_ins}/node" "test \"$1\" = -p && echo $NODE_VERSION && exit
${write_down}
case \"$1\" in classroom/benchmarks/load.js | fuzz/reached.js | scripts/coverage-table | --test) exit ;; esac
echo classroom: listening on http://127.0.0.1:1
case \" $* \" in *\" --serve \"*)
  echo classroom: only programs on this machine can reach it
  echo classroom: it does without TLS, as nothing that is sent leaves this machine
  case \" $* \" in *\" --password \"*) ;; *) echo classroom: teacher signs in with the password made-up ;; esac
esac
exec sleep 30")
  foreach(program IN ITEMS presenter/tarvo-presenter desktop/window/tarvo-desktop)
    get_filename_component(name "${program}" NAME)
    string(REPLACE "tarvo-" "" name "${name}")
    stand_in("${tree}/build/run/examples/${program}"
      "echo \"${name} in $PWD: $*\" >>\"${calls_file}\"
echo \"with the password $TARVO_PASSWORD\" >>\"${calls_file}\"")
  endforeach()
  file(GLOB targets "${SOURCE_DIR}/fuzz/fuzz_*.cpp")
  foreach(target IN LISTS targets)
    get_filename_component(target "${target}" NAME_WE)
    stand_in("${tree}/build/fuzz/fuzz/${target}" "${write_down}")
  endforeach()
  file(GLOB programs "${SOURCE_DIR}/benchmarks/bench_*.cpp")
  foreach(program IN LISTS programs)
    get_filename_component(program "${program}" NAME_WE)
    stand_in("${tree}/build/bench/benchmarks/${program}" "${write_down}")
    stand_in("${tree}/build/qt6-bench/benchmarks/${program}" "echo \"with Qt 6: $*\" >>\"${calls_file}\"")
  endforeach()
  file(WRITE "${elsewhere}/mine.txt" "quit\n")
endfunction()

# run(<script> argument...) sets `result`, `output` and `calls`, a line for each program that was called.
function(run script)
  file(WRITE "${calls_file}" "")
  execute_process(COMMAND "${tree}/scripts/${script}" ${ARGN}
    WORKING_DIRECTORY "${elsewhere}" INPUT_FILE /dev/null TIMEOUT 60
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  file(READ "${calls_file}" calls)
  foreach(variable IN ITEMS result output calls)
    set(${variable} "${${variable}}" PARENT_SCOPE)
  endforeach()
endfunction()

function(fail script)
  message(FATAL_ERROR "scripts/${script} ended with ${result}, called\n${calls}and wrote\n${output}")
endfunction()

# expect_untouched(<code> <text> <script> argument...): these words, this code, and nothing was called.
function(expect_untouched code text script)
  run(${script} ${ARGN})
  string(FIND "${output}" "${text}" at)
  if(NOT result EQUAL code OR NOT at EQUAL 0 OR NOT calls STREQUAL "")
    fail("${script} ${ARGN}")
  endif()
endfunction()

function(expect_refused text script)
  expect_untouched(2 "${script}: ${text}\nTry scripts/${script} --help.\n" ${script} ${ARGN})
endfunction()

# expect_call(<call> <script> argument...): among what was called is this line.
function(expect_call call script)
  run(${script} ${ARGN})
  string(FIND "\n${calls}" "\n${call}\n" at)
  if(NOT result EQUAL 0 OR at EQUAL -1)
    fail("${script} ${ARGN}")
  endif()
endfunction()

set_up()
set(ENV{PATH} "${stand_ins}:/usr/bin:/bin")
set(ENV{NODE_VERSION} 18.2.0)
foreach(variable IN ITEMS CDPATH DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM TARVO_PASSWORD)
  unset(ENV{${variable}})
endforeach()

# ---- Help, and what is refused, before anything is installed ----

set(ENV{MISSING} yes)
foreach(script IN ITEMS run test abi bench coverage full fuzz lint load-classroom package reference screenshots setup)
  expect_untouched(0 "Usage: scripts/${script}" ${script} --help)
  expect_untouched(0 "Usage: scripts/${script}" ${script} -h)
endforeach()
expect_untouched(0 "Usage: scripts/run" run --transport websocket --help)
expect_untouched(0 "Usage: scripts/test" test --preset asan -h)
expect_untouched(0 "Usage: scripts/fuzz" fuzz fuzz_block --help)
expect_untouched(0 "Usage: scripts/bench" bench bench_codec --help)
expect_untouched(0 "Usage: scripts/setup" setup build --help)

expect_refused("unknown option '--nonsense'." run --nonsense)
expect_refused("unknown option '--nonsense=1'." run --nonsense=1)
expect_refused("unknown option 'lesson.txt'." run lesson.txt)
expect_refused("unknown option '--.*'." run "--.*")
expect_refused("--transport needs a value." run --transport)
expect_refused("--verbose takes no value." run --verbose=yes)
expect_refused("--script: there is no file 'none.txt' to read." run --script none.txt)
expect_refused("--ca: there is no file 'none.pem' to read." run --ca=none.pem)
expect_refused("--interactive and --script exclude each other." run --script mine.txt --interactive)
expect_refused("--server is not for scripts/run, which starts a classroom of its own."
  run --server http://127.0.0.1:2)
expect_refused("--host needs --browser or --desktop." run --host 127.0.0.1)
expect_refused("--port needs --browser or --desktop." run --interactive --port=8089)
expect_refused("--host needs a value." run --browser --host)
expect_refused("--tls needs a certificate and a key." run --browser --tls mine.txt)
expect_refused("--tls: there is no file 'none.pem' to read." run --browser --tls mine.txt none.pem)
expect_refused("--browser and --desktop exclude each other." run --browser --desktop)
expect_refused("--interactive is not for --desktop." run --desktop --interactive)
expect_refused("--duration is not for --desktop." run --desktop --duration 5)
expect_refused("--script is not for --desktop." run --desktop --script mine.txt)
expect_refused("--desktop needs a display, and there is none: neither DISPLAY nor WAYLAND_DISPLAY is set."
  run --desktop --host 127.0.0.1)
expect_refused("unknown argument 'html'." reference html)
expect_refused("unknown option '--nonsense'." test --nonsense)
expect_refused("unknown option 'sockjs'." test sockjs)
expect_refused("-R needs a value." test -R)
expect_refused("--preset takes one of those that --help lists, not 'fast'." test --preset fast)
expect_refused("--preset needs a value." test --preset)
expect_refused("unknown option '--nonsense'." lint --nonsense)
expect_refused("unknown option '--nonsense'." package --nonsense)
expect_refused("--quick: the presets release and qt6 have not been built." package --quick)
expect_refused("--reproducible excludes --quick and --as-is." package --reproducible --as-is)
expect_refused("--as-is: there are no packages in build/packages." package --as-is)
stand_in("${stand_ins}/unshare" "echo unshare: not permitted >&2; exit 1")
expect_untouched(3 "package: --chroot needs root or user namespaces, and they are not to be had here: unshare: not permitted\n"
  package --chroot)
expect_refused("unknown option '20'." load-classroom 20)
expect_refused("--devices needs a value." load-classroom --devices)
expect_refused("--devices takes a number from 1 to 2000, not '2001'." load-classroom --devices 2001)
expect_refused("--service: there is no file 'none.js' to read." load-classroom --service none.js)
expect_refused("there are no pictures of 'remote'; there are those of pages terminal window." screenshots remote)
expect_refused("there are no pictures of '--all'; there are those of pages terminal window." screenshots --all)
expect_refused("--seconds takes a whole number, not 'ten'." fuzz --seconds ten)
expect_refused("--seconds takes a whole number, not ''." fuzz fuzz_block --seconds)
expect_refused("--uncovered takes one of support compression model sockjs client collab host, not 'tests'."
  coverage --uncovered tests)
expect_refused("-R needs a value." coverage -R)
expect_refused("unknown option 'sockjs'." coverage sockjs)
expect_refused("say what: check, record or self-test." abi)
expect_refused("unknown command '--nonsense'." abi --nonsense)
expect_refused("unknown option '--all'." abi check --all)
expect_refused("--qt takes 5 or 6." abi check --qt)
expect_refused("--qt takes 5 or 6." abi self-test --qt 4)
expect_refused("unknown option '--qt'." abi record --qt 6)
expect_refused("unknown option '--some'." abi self-test --some)
expect_refused("unknown step 'all'; known are: release asan tsan qt6 qt6-asan lint packages abi abi-qt6 reference" full all)
expect_refused("the seconds are a number, not 'ten'." bench bench_codec -- 300 ten)
expect_refused("behind \"--\" stand a word and the seconds, not '20'." bench -- 300 10 20)
expect_refused("say what for: build test classroom desktop browser lint fuzz coverage bench abi qt6 package chroot reference screenshots" setup)
expect_refused("unknown use 'tests'; known are: build test classroom desktop browser lint fuzz coverage bench abi qt6 package chroot reference screenshots" setup build tests)
expect_untouched(2 "bench: unknown program or option '--nonsense'; the programs are: bench_codec "
  bench --nonsense)
expect_refused("--qt takes 5 or 6, not '7'." bench bench_codec --qt 7)
expect_refused("--qt takes 5 or 6, not ''." bench --qt)
expect_untouched(2 "fuzz: unknown target or option '--nonsense'; the targets are: fuzz_block "
  fuzz --nonsense)

# ---- What is called ----

run(setup lint)
if(NOT calls MATCHES "(^|\n)(apt-get|sudo) [^\n]*install [^\n]* clang-format clang-tidy clazy\n")
  fail("setup lint")
endif()
set(ENV{MISSING} "")
expect_untouched(0 "" setup lint)

# A Node.js that is too old is none.
foreach(version IN ITEMS 18.2.0 18.10.1 22.1.0)
  set(ENV{NODE_VERSION} ${version})
  expect_untouched(0 "" setup classroom)
endforeach()
set(ENV{NODE_VERSION} 18.1.9)
run(setup classroom)
if(NOT calls MATCHES "(^|\n)(apt-get|sudo) [^\n]*install [^\n]* nodejs npm\n")
  fail("setup classroom")
endif()
set(ENV{NODE_VERSION} 18.2.0)

expect_call("ctest --preset release -j5" test)
expect_call("ctest --preset asan -j5 -R sockjs -j 3 --schedule-random"
  test -R sockjs --preset asan -j 3 -- --schedule-random)
expect_call("bench_codec 300 10" bench bench_codec -- 300 10)
expect_call("bench_idle " bench)
expect_call("cmake --preset qt6-bench" bench --qt 6 bench_codec)
expect_call("with Qt 6: 300 10" bench bench_codec --qt 6 -- 300 10)
expect_call("bench_codec 300" bench --qt 5 bench_codec -- 300)
expect_call("node classroom/benchmarks/load.js 200 ${elsewhere}/mine.txt"
  load-classroom --devices 200 --service mine.txt)
expect_call("node --test scripts/pictures/terminal.js scripts/pictures/pages.js" screenshots terminal pages)
expect_call("node --test scripts/pictures/pages.js scripts/pictures/terminal.js scripts/pictures/window.js" screenshots)
run(fuzz fuzz_block --seconds 5)
if(NOT result EQUAL 0 OR calls MATCHES "fuzz_base64"
    OR NOT calls MATCHES "\nfuzz_block [^\n]* -rss_limit_mb=1024 [^\n]* -max_total_time=5 "
    OR NOT calls MATCHES "\nfuzz_block [^\n]* -dict=fuzz/dictionaries/fuzz_block.dict [^\n]*/fuzz_block fuzz/seeds/fuzz_block\n")
  fail("fuzz fuzz_block --seconds 5")
endif()
run(fuzz --report fuzz_block)
if(NOT result EQUAL 0 OR NOT output MATCHES "`fuzz_block`" OR output MATCHES "base64"
    OR NOT calls MATCHES "\nnode fuzz/reached.js fuzz_block\n"
    OR NOT calls MATCHES "\nfuzz_block [^\n]* -runs=0 [^\n]*/fuzz_block fuzz/seeds/fuzz_block\n"
    OR NOT calls MATCHES "\nllvm-cov export [^\n]* build/fuzz/fuzz/fuzz_block ")
  fail("fuzz --report fuzz_block")
endif()

set(folders support compression model sockjs client collab host)
list(JOIN folders " " folders)
expect_call("ctest --preset coverage -j5 -L ^(support|compression|model|sockjs|client|collab|host|e2e)$" coverage)
expect_call("ctest --preset coverage -j5 -L ^(support|compression|model|sockjs|client|collab|host|e2e)$ -R queue"
  coverage -R queue)
expect_call("node scripts/coverage-table ${folders} -- collab" coverage --as-is --uncovered collab)
if(calls MATCHES "ctest|apt-get")
  fail("coverage --as-is")
endif()

expect_call("cmake -D SOURCE_DIR=${tree} -D OUTPUT=${tree}/build/reference -P docs/reference/BuildReference.cmake"
  reference)

# The lesson of one's own is found from where one stands; the script's own from anywhere.
set(begun "presenter in ${elsewhere}: --server http://127.0.0.1:1 --user teacher")
set(lesson "--script ${tree}/examples/presenter/lesson.txt")
expect_call("${begun} ${lesson}" run)
expect_call("${begun} ${lesson} --transport xhr-polling" run --transport=xhr-polling)
expect_call("${begun} --script mine.txt" run --script mine.txt)
expect_call("${begun} --verbose --script mine.txt --ca mine.txt" run --verbose --script=mine.txt --ca mine.txt)
expect_call("${begun}" run --interactive)
expect_call("${begun} --transport websocket --verbose" run --transport websocket --interactive --verbose)

# A server with the stock settings, but for the compatible transport.
run(run --interactive)
if(NOT calls MATCHES "\nnode [^\n]* --stock\n")
  fail("run --interactive")
endif()
run(run --duration 5 --compatible-transport)
if(NOT result EQUAL 0 OR calls MATCHES "--stock")
  fail("run --duration 5 --compatible-transport")
endif()

# A class of people: no simulated learners, a password that the classroom has made up, or the one that is given.
run(run --browser --host 127.0.0.1 --tls mine.txt mine.txt --duration 5)
if(NOT result EQUAL 0 OR calls MATCHES "--learners|--stock|lesson.txt"
    OR NOT calls MATCHES "\nnode [^\n]* --serve --port 0 --host 127.0.0.1 --tls mine.txt mine.txt --user teacher\n"
    OR NOT calls MATCHES "\npresenter [^\n]*: --server http://127.0.0.1:1 --user teacher --duration 5\nwith the password made-up\n"
    OR NOT output MATCHES "Learners open     http://127.0.0.1:1 [^\n]*\n[^\n]* http://127.0.0.1:1/remote "
    OR NOT output MATCHES "Password          made-up\nOnly this computer reaches it; ")
  fail("run --browser")
endif()
expect_call("${begun} --script mine.txt" run --browser --script mine.txt)
set(ENV{TARVO_PASSWORD} mine)
run(run --browser)
if(NOT calls MATCHES "\nwith the password mine\n" OR output MATCHES "mine")
  fail("run --browser")
endif()
set(ENV{QT_QPA_PLATFORM} offscreen)
run(run --desktop --ca mine.txt)
if(NOT calls MATCHES "\ncmake --build [^\n]* --target tarvo-desktop\n"
    OR NOT calls MATCHES "\ndesktop in [^\n]*: --server http://127.0.0.1:1 --user teacher --ca mine.txt\n")
  fail("run --desktop")
endif()
unset(ENV{TARVO_PASSWORD})

# What the window needs is installed for the window alone.
set(ENV{MISSING} yes)
run(run --browser)
if(calls MATCHES "libqrencode-dev")
  fail("run --browser")
endif()
run(run --desktop)
if(NOT calls MATCHES "libqrencode-dev")
  fail("run --desktop")
endif()
set(ENV{MISSING} "")

# ---- The pages ----

# Every call that a page shows is one that its script takes.
file(GLOB pages "${tree}/*.md" "${tree}/docs/*.md")
set(shown "")
foreach(page IN LISTS pages)
  file(READ "${page}" text)
  string(REGEX MATCHALL "(\n|`)scripts/(run|test|bench|coverage|fuzz|load-classroom|reference|screenshots|setup)( [^]`#\n;[]*)?" calls "${text}")
  string(REGEX REPLACE "[\n`]scripts/" "" calls "${calls}")
  list(APPEND shown ${calls})
endforeach()
list(TRANSFORM shown STRIP)
list(REMOVE_DUPLICATES shown)
list(LENGTH shown count)
if(count LESS 15)
  message(FATAL_ERROR "The pages show only:\n${shown}")
endif()
foreach(command IN LISTS shown)
  separate_arguments(command UNIX_COMMAND "${command}")
  run(${command})
  if(NOT result EQUAL 0)
    fail("${command}")
  endif()
endforeach()
