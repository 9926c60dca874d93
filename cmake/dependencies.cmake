# What tests and examples are built with. A cross compiler must not see the headers of this machine, so for it
# the one package is linked to by its folder alone, and the other built from its source package.

macro(cmm_find_cli11)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(CLI11 REQUIRED)
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
    find_package(GTest REQUIRED)
  else()
    find_path(CMM_GOOGLETEST_SOURCE googletest/CMakeLists.txt NO_CMAKE_FIND_ROOT_PATH
              PATHS /usr/src/googletest REQUIRED)
    set(gtest_disable_pthreads ON CACHE INTERNAL "")
    set(INSTALL_GTEST OFF CACHE INTERNAL "")
    add_subdirectory(${CMM_GOOGLETEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  endif()
endmacro()
