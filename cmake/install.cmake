# cmake --install, in three components. `library` is what a program needs to run. `development` is what a host is
# built with: headers, CMake package, pkg-config file, static library, documents. `programs` are the programs of
# tools/ with manual pages and completion.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(cmmaudio PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/cmmaudio>)
install(TARGETS cmmaudio EXPORT cmmaudio-targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

set(CMM_INSTALLED_HEADERS
  wavfile/CMMWav.h wavfile/PcmDriver.h wavfile/WavCheck.h
  resample/AudioLinearFilter.h
  capture/ThreadDAT.h capture/CMMCapture.h capture/CaptureThread.h capture/CMMWAVCapture.h
  capture/CaptureReport.h
  harmony/HarmonyUnit.h
  units/WavUnit.h
  units/MMWavUnit.h
  units/MCIWavUnit.h
  units/PathHelpers.h
  platform/platform.h platform/export.h platform/owners.h platform/capture_losses.h)
if(NOT WIN32)
  list(APPEND CMM_INSTALLED_HEADERS
    platform/posix/find.h
    platform/posix/mci.h
    platform/posix/types.h platform/posix/multimedia.h platform/posix/mmio.h platform/posix/acm.h
    platform/posix/errors.h platform/posix/files.h
    platform/posix/acm_driver.h platform/posix/memory.h platform/posix/window.h
    platform/posix/sync.h platform/posix/dsound.h platform/posix/text.h platform/posix/layer.h)
endif()
foreach(header IN LISTS CMM_INSTALLED_HEADERS)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/cmmaudio/${folder} COMPONENT development)
endforeach()

install(EXPORT cmmaudio-targets NAMESPACE cmmaudio:: FILE cmmaudio-targets.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cmmaudio COMPONENT development)

# What a program links beside the static library. The shared one brings it along itself.
set(CMM_PACKAGE_DEPENDENCIES "")
set(CMM_PC_PRIVATE "")
set(CMM_PC_DEFINITIONS "")
if(CMM_STATIC)
  set(CMM_PC_DEFINITIONS " -DCMM_STATIC")
  if(WIN32)
    list(TRANSFORM CMM_WINDOWS_LIBRARIES PREPEND -l OUTPUT_VARIABLE libraries)
    list(JOIN libraries " " libraries)
    set(CMM_PC_PRIVATE "Libs.private: ${libraries}")
  else()
    set(CMM_PACKAGE_DEPENDENCIES "include(CMakeFindDependencyMacro)\nfind_dependency(Threads)")
    set(CMM_PC_PRIVATE "Libs.private: -pthread")
    if(CMM_ALSA)
      string(APPEND CMM_PACKAGE_DEPENDENCIES "\nfind_dependency(ALSA)")
      string(APPEND CMM_PC_PRIVATE "\nRequires.private: alsa")
    endif()
  endif()
endif()
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/cmmaudio-config.cmake.in
  ${PROJECT_BINARY_DIR}/cmmaudio-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cmmaudio)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmmaudio-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmmaudio-config.cmake ${PROJECT_BINARY_DIR}/cmmaudio-config-version.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cmmaudio COMPONENT development)

# The file computes the prefix from its own folder, so that `cmake --install --prefix` and a moved tree work too.
file(RELATIVE_PATH CMM_PC_TO_PREFIX
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/cmmaudio.pc.in ${PROJECT_BINARY_DIR}/cmmaudio.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmmaudio.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

# The documents lie as in the sources, so that their links to each other lead somewhere.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md
              ${PROJECT_SOURCE_DIR}/LICENSE
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN html EXCLUDE)
