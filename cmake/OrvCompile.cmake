# How everything in this project is compiled: the language level, warnings as errors, hardening, and the sanitizers.
#
# orv_compile       what every target of ours links privately: warnings, hardening, large files and 64-bit time
# ORV_SANITIZE      comma-separated list for -fsanitize=, empty for none
# ORV_DEBIAN_PACKAGES   no folder of this machine gets into what is built

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

set(ORV_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize= (for example address,undefined)")

find_package(Threads REQUIRED)

add_library(orv_compile INTERFACE)
target_compile_options(orv_compile INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
# A 32-bit board has to live past 2038 and to read files beyond 2 GiB.
target_compile_definitions(orv_compile INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_libraries(orv_compile INTERFACE Threads::Threads)

if(ORV_DEBIAN_PACKAGES)
  # For all that is compiled, what does without orv_compile included: a package is the same wherever it was built.
  # The linker's command has it for link-time optimisation, which compiles as well.
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  add_link_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  # Headers of another processor are named as if they were this machine's; and by no other way to them, which GCC takes
  # where it is shorter.
  if(CMAKE_SYSROOT)
    add_compile_options(-ffile-prefix-map=${CMAKE_SYSROOT}=)
    add_link_options(-ffile-prefix-map=${CMAKE_SYSROOT}=)
  endif()
  add_compile_options($<$<C_COMPILER_ID:GNU>:-fno-canonical-system-headers>)
  # A compiler's cache that is told a base folder hands the compiler relative paths, which nothing maps.
  foreach(language C CXX)
    list(PREPEND CMAKE_${language}_COMPILER_LAUNCHER env CCACHE_BASEDIR=)
  endforeach()
endif()

target_compile_options(orv_compile INTERFACE -fstack-protector-strong)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i[3-6]86")
  target_compile_options(orv_compile INTERFACE -fcf-protection=full -fstack-clash-protection)
endif()
target_link_options(orv_compile INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
if(ORV_SANITIZE)
  target_compile_options(orv_compile INTERFACE -fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all
                                               -fno-omit-frame-pointer)
  target_link_options(orv_compile INTERFACE -fsanitize=${ORV_SANITIZE})
else()
  # The sanitizers bring checks of their own in place of these; without optimisation the compiler has no sizes to check.
  target_compile_definitions(orv_compile INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
endif()

# ORV_COVERAGE      counts which lines and branches of the daemon's sources run (GCC; see docs/testing.md)
#
# Without exceptions each branch of the machine code is one of the source. An exception of the simulated platform still
# passes through: the functions keep their unwind tables, and what they hold is leaked.
option(ORV_COVERAGE "Count which lines and branches of the daemon's sources run" OFF)
add_library(orv_coverage INTERFACE)
if(ORV_COVERAGE)
  target_compile_options(orv_coverage INTERFACE --coverage -fprofile-update=atomic -fno-exceptions
                                                -fasynchronous-unwind-tables)
  target_link_options(orv_compile INTERFACE --coverage)
endif()
