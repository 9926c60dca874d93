# The packages that tests and programs are built with: cmm_find_...(RESULT) sets RESULT to whether one is there.
# A cross compiler must not find the other headers of this machine. So for it a link to the folder of CLI11 alone
# is made, and GoogleTest is built from its source package.

function(cmm_find_cli11 result)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(CLI11 QUIET GLOBAL)
  else()
    find_path(CMM_CLI11_FOLDER CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include)
    if(CMM_CLI11_FOLDER AND NOT TARGET CLI11::CLI11)
      file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
      file(CREATE_LINK ${CMM_CLI11_FOLDER}/CLI ${PROJECT_BINARY_DIR}/include/CLI SYMBOLIC)
      add_library(CLI11::CLI11 INTERFACE IMPORTED GLOBAL)
      set_target_properties(CLI11::CLI11 PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES ${PROJECT_BINARY_DIR}/include)
    endif()
  endif()
  set(${result} FALSE PARENT_SCOPE)
  if(TARGET CLI11::CLI11)
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()

function(cmm_find_googletest result)
  set(${result} FALSE PARENT_SCOPE)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(GTest QUIET GLOBAL)
    if(TARGET GTest::gtest_main AND TARGET GTest::gmock)
      set(${result} TRUE PARENT_SCOPE)
    endif()
    return()
  endif()
  find_path(CMM_GOOGLETEST_SOURCE src/gtest-all.cc NO_CMAKE_FIND_ROOT_PATH
            PATHS /usr/src/googletest/googletest)
  if(CMM_GOOGLETEST_SOURCE)
    add_library(gtest_main STATIC EXCLUDE_FROM_ALL
      ${CMM_GOOGLETEST_SOURCE}/src/gtest-all.cc ${CMM_GOOGLETEST_SOURCE}/src/gtest_main.cc)
    target_compile_features(gtest_main PRIVATE cxx_std_20)
    target_include_directories(gtest_main SYSTEM PUBLIC ${CMM_GOOGLETEST_SOURCE}/include
                               PRIVATE ${CMM_GOOGLETEST_SOURCE})
    target_compile_options(gtest_main PUBLIC -include ${PROJECT_SOURCE_DIR}/tests/support/gtest_mingw.h)
    add_library(GTest::gtest_main ALIAS gtest_main)
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()
