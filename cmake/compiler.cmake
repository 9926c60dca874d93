# The language, the folders of the build, and the flags of every target.

# A program with what the library uses of C++20. An older compiler gets one sentence, not a page of errors.
if(NOT CMM_HAS_CXX20 AND "cxx_std_20" IN_LIST CMAKE_CXX_COMPILE_FEATURES)
  try_compile(CMM_HAS_CXX20
    SOURCE_FROM_CONTENT cxx20.cpp "
      #include <bit>
      #include <memory>
      #include <span>
      constinit float one = std::bit_cast<float>(0x3f800000u);
      const std::shared_ptr<char[]> room = std::make_shared<char[]>(1);
      float First(std::span<const float> values) { return values.empty() ? one : values[0]; }
      int main() { return First({}) > 0 && room ? 0 : 1; }"
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
endif()
if(NOT CMM_HAS_CXX20)
  unset(CMM_HAS_CXX20 CACHE)
  message(FATAL_ERROR "cmmaudio needs a C++20 compiler: g++ 12, clang 14, Visual Studio 2022 or a later one; this "
                      "is ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} (${CMAKE_CXX_COMPILER}).")
endif()

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  # All programs are built into one folder, and libraries into another one beside it.
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
  endif()
endif()

# Sets the flags of a target. Every target calls it, also those of tests and examples.
function(cmm_compile_flags target)
  # A host's settings for its own targets do not reach this one. Several sources have a local function of the
  # same name, so they are compiled one by one.
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF UNITY_BUILD OFF)
  # A host sees its own warnings only.
  set(warnings "$<BOOL:${PROJECT_IS_TOP_LEVEL}>")
  if(MSVC)
    target_compile_options(${target} PRIVATE /permissive- /utf-8 /fp:precise /Zc:__cplusplus
                           $<${warnings}:/W4> $<$<BOOL:${CMM_WERROR}>:/WX>)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    "$<${warnings}:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion;-Wsign-conversion>"
    $<$<BOOL:${CMM_WERROR}>:-Werror>
    # The same arithmetic on every processor: no fused operations, no x87 registers.
    -ffp-contract=off)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86)$" OR CMAKE_CXX_COMPILER MATCHES "i686")
    target_compile_options(${target} PRIVATE -msse2 -mfpmath=sse)
  endif()
  if(MINGW)
    # So that a host does not need the compiler's own DLLs.
    target_link_options(${target} PRIVATE -static)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      # Callers of the library align the stack to 4 bytes.
      target_compile_options(${target} PRIVATE -mstackrealign)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # This compiler assumes a stack aligned to 32 bytes, which Windows does not promise.
      target_compile_options(${target} PRIVATE -Wa,-muse-unaligned-vector-move)
    endif()
  endif()
  if(CMM_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${CMM_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${CMM_SANITIZE})
  endif()
endfunction()
