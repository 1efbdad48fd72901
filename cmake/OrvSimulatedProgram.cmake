# Programs that boot the daemon in their own process: its main, which goes by another name there, its modules and the
# simulated platform.

file(GLOB daemon_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/ORV_Daemon/src/*.cpp)
add_library(orv_sim_daemon OBJECT ${daemon_sources})
target_include_directories(orv_sim_daemon PUBLIC ${PROJECT_SOURCE_DIR}/ORV_Daemon/src
                                          PRIVATE ${PROJECT_BINARY_DIR}/ORV_Daemon)
target_compile_definitions(orv_sim_daemon PRIVATE main=orvDaemonMain)
target_link_libraries(orv_sim_daemon PUBLIC orv_compile orv_daemon_platform PRIVATE orv_coverage)
add_dependencies(orv_sim_daemon orv_banner)

# orv_simulated_program(NAME SOURCES...): see tests/SimulatedBoot.h for what the sources can do.
function(orv_simulated_program name)
  add_executable(${name} ${ARGN} ${PROJECT_SOURCE_DIR}/tests/SimulatedBoot.cpp
                 ${PROJECT_SOURCE_DIR}/ORV_Platform/simulated/ddal.cpp)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE orv_compile orv_sim_daemon $<LINK_LIBRARY:WHOLE_ARCHIVE,orv_simulation>)
endfunction()
