# find_package(orv): orv::ORV, the platform library that an application is linked with, and orv::TARNDDAL. Headers are
# included by their bare names: #include <AaConfig.h>.
include(${CMAKE_CURRENT_LIST_DIR}/orv-targets.cmake)
