# Builds the daemon alone against two given libraries, as a board's vendor does: against tiny ones that tell of each call
# (vendor-platform). Then swaps other libraries in under the built daemon: another build of them, those of this project,
# under which the contract tests hold, and the example of a vendor's (docs/platform-library.md).
#
# SOURCE, BUILD     the project and a folder to build in, which is made anew
# PLATFORM          the folder with this project's libORV.so and libTARNDDAL.so
# CONTRACT_TEST     the command that runs the test program that reads the built file
# OPTIONS           of CMake: compilers and target as in the build that PLATFORM comes from
# BUILD_TYPE, CXX_FLAGS, SANITIZE   as there
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}: ${result}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${BUILD})
set(configure ${CMAKE_COMMAND} ${OPTIONS})

# build_tiny(NAME): the tiny libraries in BUILD/NAME, which call themselves so.
function(build_tiny name)
  run(${configure} -S ${SOURCE}/tests/vendor-platform -B ${BUILD}/${name}
      -DORV_HEADERS=${SOURCE}/ORV_Daemon/platform -DNAME=${name})
  run(${CMAKE_COMMAND} --build ${BUILD}/${name})
endfunction()
build_tiny(first)
build_tiny(second)

run(${configure} -S ${SOURCE} -B ${BUILD}/daemon -DORV_PLATFORM_DIR=${BUILD}/first -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
    -DCMAKE_CXX_FLAGS_DEBUG=${CXX_FLAGS} -DORV_SANITIZE=${SANITIZE})
run(${CMAKE_COMMAND} --build ${BUILD}/daemon)
set(daemon ${BUILD}/daemon/bin/ORVDaemonExe)
file(GLOB libraries ${BUILD}/daemon/lib/*)
if(libraries)
  message(FATAL_ERROR "built beside the daemon: ${libraries}")
endif()

# Every call of a start-up with one program, one application and both notices, as the libraries that are loaded see it. On
# the board they are in the daemon's search path; here the environment says where they are.
set(expected
  "early start-up"
  "ready"
  "tag sys.ce.name is 'mine'"
  "tag orv.service.aatbts.cpid is 1237, 16 bits"
  "tag colour is 'red'"
  "tag count is 12, 32 bits"
  "node 0x1011 starts, tester port 15006, configured by rt.xml"
  "EU ceInternalStartupEu, 4096 bytes of stack, priority 10, argument of 4 bytes, joinable"
  "EU /opt/radio, 4132 bytes of stack, priority 31, argument of 604 bytes"
  "program /opt/radio, arguments '--band 2', flags 2"
  "error 1 0x1004b: failure of executable /opt/radio"
  "parameter 0x10070"
  "tag pump.online is set"
  "tag sys.repair.center.reset is not set"
  "tag sys.configuration.reset is not set"
  "tag app.hwapi.appcfg.filename is asked for"
  "'AppDef.txt' is given back"
  "file AppDef.txt, mode r"
  "file closed"
  "EU pump, 4132 bytes of stack, priority 31, argument of 812 bytes"
  "program /opt/pump, arguments '--fast', flags 3"
  "error 0 0x12345678: failure of application pump"
  "tag orv.service.aapro.watchdog_enabled is set"
  "parameter 0x10077"
  "sleeps 30 of unit 4"
  "reset"
  "tag pump.online is set"
  "message 0xfd28 of 4 bytes to 0xff004e7"
  "sent by 0x1011fffe, priority 0"
  "user with options 0"
  "message 0x1b9d of 0 bytes to 0xf011315"
  "sent by 0xf010007, priority 0"
  "user 7 leaves"
  "node ends, what is behind the record is kept")
foreach(name first second)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${BUILD}/${name} ${daemon}
            --startup=nid=0x1011,testerport=15006,cename=mine,rtconfigfile=rt.xml,tbtscpid=0x4d5,notifreceiver=0xf011315,executable=/opt/radio\ --band\ 2\#pump.online
            -c colour=red,count=12
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE log TIMEOUT 60)
  string(REGEX MATCHALL "(^|\n)(first|second): [^\n]*" calls "${log}")
  list(TRANSFORM calls STRIP)
  list(JOIN calls "\n" calls)
  list(TRANSFORM expected PREPEND "${name}: " OUTPUT_VARIABLE wanted)
  list(JOIN wanted "\n" wanted)
  if(NOT result EQUAL 0 OR NOT calls STREQUAL wanted)
    string(REPLACE "\n" "\n  " differing "${log}\n--- wanted of the libraries:\n${wanted}")  # CMake leaves such lines alone
    message(FATAL_ERROR "the daemon on the libraries ${name}: ${result}\n  ${differing}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PLATFORM} ORV_CONTRACT_DAEMON=${daemon} ${CONTRACT_TEST} --gtest_filter=DaemonFile.*)

# The libraries of the example: the same interface, so the same daemon runs on them.
run(${configure} -S ${SOURCE}/examples/vendor-platform -B ${BUILD}/platform)
run(${CMAKE_COMMAND} --build ${BUILD}/platform)
file(WRITE ${BUILD}/AppDef.txt "steady;/bin/sleep;60;0;1;\npump;/bin/false;;0;1;\n")
# SIGTERM once pump has failed; the daemon answers it when its start-up is complete, which it says before that.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${BUILD}/platform sh -c "\"$1\" --startup=nid=0x1011 -c app.hwapi.appcfg.filename=\"$2\" 2>\"$3\" & daemon=$!
                 until grep -q '^vendor: error' \"$3\" && grep -q 'CE start-up complete' \"$3\"; do
                   kill -0 $daemon || exit 9; sleep 0.05; done
                 kill -TERM $daemon; wait $daemon"
          sh ${daemon} ${BUILD}/AppDef.txt ${BUILD}/vendor.log
  RESULT_VARIABLE result TIMEOUT 60)
file(READ ${BUILD}/vendor.log log)
foreach(line "vendor: node 0x1011 starts" "failure of application pump" "vendor: node ends" "OrvDaemon: returned success")
  string(FIND "${log}" "${line}" found)
  if(found EQUAL -1 OR NOT result EQUAL 0)
    message(FATAL_ERROR "the daemon on the example's libraries: ${result}, without \"${line}\" in\n${log}")
  endif()
endforeach()
