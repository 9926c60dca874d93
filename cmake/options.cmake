# What is built beside the library.
option(CMM_BUILD_TESTS "Build the tests (needs GoogleTest)" OFF)
option(CMM_BUILD_TOOLS "Build the programs cmm-... (need CLI11)" OFF)
option(CMM_BUILD_EXAMPLES "Build the short example programs" OFF)
option(CMM_BUILD_BENCH "Build the benchmarks (need Google Benchmark)" OFF)
option(CMM_BUILD_FUZZ "Build the libFuzzer targets (need clang)" OFF)
option(CMM_WERROR "Treat warnings as errors" OFF)
set(CMM_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

if(NOT WIN32)
  find_package(ALSA QUIET)
  option(CMM_ALSA "Real sound devices through ALSA" ${ALSA_FOUND})
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
