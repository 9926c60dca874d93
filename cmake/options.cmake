# What is built beside the library: by default nothing in a host's build; in the library's own everything whose
# packages are installed.
option(CMM_INSTALL "Install the library and what is built beside it" ${PROJECT_IS_TOP_LEVEL})
option(CMM_BUILD_EXAMPLES "Build the short example programs" ${PROJECT_IS_TOP_LEVEL})
option(CMM_BUILD_BENCH "Build the benchmarks (those whose packages are there)" ${PROJECT_IS_TOP_LEVEL})
option(CMM_BUILD_FUZZ "Build the libFuzzer targets (need clang)" OFF)
option(CMM_WERROR "Treat warnings as errors" OFF)
set(CMM_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

# cmm_part(OPTION WHAT FIND PACKAGES): a part that needs packages. Without them ON is an error, and AUTO leaves
# the part out. AUTO stays in the cache, so that packages installed later are found.
function(cmm_part option what find packages)
  set(default OFF)
  if(PROJECT_IS_TOP_LEVEL)
    set(default AUTO)
  endif()
  set(${option} ${default} CACHE STRING "Build ${what}: ON, OFF, or AUTO: if ${packages} is there")
  set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
  if(NOT ${option})
    return()
  endif()
  cmake_language(CALL ${find} found)
  if(found)
    set(${option} ON PARENT_SCOPE)
  elseif(${option} STREQUAL "AUTO")
    message(STATUS "Without ${what}: ${packages} is missing")
    set(${option} OFF PARENT_SCOPE)
  else()
    message(FATAL_ERROR "${option}: ${packages} is missing. Install it, or leave out ${what} with "
                        "-D${option}=OFF.")
  endif()
endfunction()

cmm_part(CMM_BUILD_TOOLS "the programs cmm-..." cmm_find_cli11 "CLI11 (Debian: libcli11-dev)")
cmm_part(CMM_BUILD_TESTS "the tests" cmm_find_googletest "GoogleTest (Debian: libgtest-dev libgmock-dev)")

if(NOT WIN32)
  find_package(ALSA QUIET)
  # AUTO stays in the cache, so that a library installed later is found.
  set(CMM_ALSA AUTO CACHE STRING "Real sound devices through ALSA: ON, OFF, or AUTO: if it is there")
  set_property(CACHE CMM_ALSA PROPERTY STRINGS AUTO ON OFF)
  if(CMM_ALSA STREQUAL "AUTO")
    set(CMM_ALSA ${ALSA_FOUND})
  endif()
endif()
