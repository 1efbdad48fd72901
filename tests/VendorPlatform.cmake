# Builds the daemon alone against two given libraries, as a board's vendor does, and holds the contract tests against it;
# then builds the example of a vendor's libraries and runs this daemon on them (docs/platform-library.md).
#
# SOURCE, BUILD     the project and a folder to build in, which is made anew
# PLATFORM          the folder with libORV.so and libTARNDDAL.so
# CONTRACT_TEST     the test program that reads the built file
# GENERATOR, CXX_COMPILER, C_COMPILER, BUILD_TYPE, CXX_FLAGS, SANITIZE   as in the build that the libraries come from
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}: ${result}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${BUILD})
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${BUILD} -G ${GENERATOR} -DORV_PLATFORM_DIR=${PLATFORM}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
    -DCMAKE_CXX_FLAGS_DEBUG=${CXX_FLAGS} -DORV_SANITIZE=${SANITIZE})
run(${CMAKE_COMMAND} --build ${BUILD})
file(GLOB libraries ${BUILD}/lib/*)
if(libraries)
  message(FATAL_ERROR "built beside the daemon: ${libraries}")
endif()
# On the board they are in the daemon's search path; here the environment says where they are.
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PLATFORM} ORV_CONTRACT_DAEMON=${BUILD}/bin/ORVDaemonExe ${CONTRACT_TEST} --gtest_filter=DaemonFile.*)

# The libraries of the example: the same interface, so the same daemon runs on them.
run(${CMAKE_COMMAND} -S ${SOURCE}/examples/vendor-platform -B ${BUILD}/platform -G ${GENERATOR}
    -DCMAKE_C_COMPILER=${C_COMPILER})
run(${CMAKE_COMMAND} --build ${BUILD}/platform)
file(WRITE ${BUILD}/AppDef.txt "steady;/bin/sleep;60;0;1;\npump;/bin/false;;0;1;\n")
# SIGTERM once pump has failed; the daemon answers it when its start-up is complete, which it says before that.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${BUILD}/platform sh -c "\"$1\" --startup=nid=0x1011 -c app.hwapi.appcfg.filename=\"$2\" 2>\"$3\" & daemon=$!
                 until grep -q '^vendor: error' \"$3\" && grep -q 'CE start-up complete' \"$3\"; do
                   kill -0 $daemon || exit 9; sleep 0.05; done
                 kill -TERM $daemon; wait $daemon"
          sh ${BUILD}/bin/ORVDaemonExe ${BUILD}/AppDef.txt ${BUILD}/vendor.log
  RESULT_VARIABLE result TIMEOUT 60)
file(READ ${BUILD}/vendor.log log)
foreach(line "vendor: node 0x1011 starts" "failure of application pump" "vendor: node ends" "OrvDaemon: returned success")
  string(FIND "${log}" "${line}" found)
  if(found EQUAL -1 OR NOT result EQUAL 0)
    message(FATAL_ERROR "the daemon on the example's libraries: ${result}, without \"${line}\" in\n${log}")
  endif()
endforeach()
