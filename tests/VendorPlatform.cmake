# Builds the daemon alone against two given libraries, as a board's vendor does, and holds the contract tests against it.
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
