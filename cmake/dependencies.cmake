# The packages that tests and programs are built with. A cross compiler must not find the other headers of this
# machine. So for it a link to the folder of CLI11 alone is made, and GoogleTest is built from its source package.

macro(cmm_find_cli11)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(CLI11 QUIET)
    if(NOT CLI11_FOUND)
      message(FATAL_ERROR "The example programs need CLI11 (Debian: libcli11-dev). Install it, or leave them out "
                          "with -DCMM_BUILD_TOOLS=OFF.")
    endif()
  elseif(NOT TARGET CLI11::CLI11)
    find_path(CMM_CLI11_FOLDER CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include REQUIRED)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
    file(CREATE_LINK ${CMM_CLI11_FOLDER}/CLI ${PROJECT_BINARY_DIR}/include/CLI SYMBOLIC)
    add_library(CLI11::CLI11 INTERFACE IMPORTED GLOBAL)
    set_target_properties(CLI11::CLI11 PROPERTIES
      INTERFACE_INCLUDE_DIRECTORIES ${PROJECT_BINARY_DIR}/include)
  endif()
endmacro()

macro(cmm_find_googletest)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(GTest QUIET)
    if(NOT TARGET GTest::gtest_main OR NOT TARGET GTest::gmock)
      message(FATAL_ERROR "The tests need GoogleTest (Debian: libgtest-dev libgmock-dev). Install it, or leave "
                          "them out with -DCMM_BUILD_TESTS=OFF.")
    endif()
  else()
    find_path(CMM_GOOGLETEST_SOURCE src/gtest-all.cc NO_CMAKE_FIND_ROOT_PATH
              PATHS /usr/src/googletest/googletest REQUIRED)
    add_library(gtest_main STATIC EXCLUDE_FROM_ALL
      ${CMM_GOOGLETEST_SOURCE}/src/gtest-all.cc ${CMM_GOOGLETEST_SOURCE}/src/gtest_main.cc)
    target_include_directories(gtest_main SYSTEM PUBLIC ${CMM_GOOGLETEST_SOURCE}/include
                               PRIVATE ${CMM_GOOGLETEST_SOURCE})
    target_compile_options(gtest_main PUBLIC -include ${PROJECT_SOURCE_DIR}/tests/support/gtest_mingw.h)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
endmacro()
