# The language, the folders of the build, and the flags of every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# All programs are built into one folder, and libraries into another one beside it.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# Sets the flags of a target. Every target calls it, also those of tests and examples.
function(cmm_compile_flags target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8 /fp:precise /Zc:__cplusplus
                           $<$<BOOL:${CMM_WERROR}>:/WX>)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
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
