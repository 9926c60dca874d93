# cpack: three Debian packages, of the three components. They take a shared library that is configured with
# -DCMAKE_INSTALL_PREFIX=/usr, which is what scripts/packages does: Debian's folder for libraries follows from it.
if(CMAKE_CROSSCOMPILING OR CMM_STATIC OR NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  return()
endif()
find_program(CMM_DPKG dpkg)
mark_as_advanced(CMM_DPKG)
if(NOT CMM_DPKG)
  return()
endif()

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME cmmaudio)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT "cmmaudio developers <cmmaudio@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL library development programs)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE cmmaudio)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(same_version "libcmmaudio${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-1)")

# cmm_package(COMPONENT NAME SECTION SUMMARY TEXT)
macro(cmm_package component name section summary text)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}
cmmaudio records, reads, writes, converts and plays WAV files and makes
harmony voices.
.
${text}")
endmacro()
cmm_package(library libcmmaudio${PROJECT_VERSION_MAJOR} libs "WAV files, capture and harmony: shared library"
            "This package has the shared library.")
cmm_package(development libcmmaudio-dev libdevel "WAV files, capture and harmony: development files"
            "This package has headers, CMake package, pkg-config file and\ndocuments.")
cmm_package(programs cmmaudio-tools sound "record, convert, repair and play WAV files"
            "This package has the programs cmm-record, cmm-info, cmm-convert,
cmm-harmonize, cmm-mirror, cmm-play and cmm-repair, with manual pages and
completion for bash.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS libasound2-plugins)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SUGGESTS bash-completion)

# What Debian wants in each package's own folder.
set(folder ${PROJECT_BINARY_DIR}/packages-documents)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)\n\n(.*)" ignored "${licence}")
set(holder "${CMAKE_MATCH_1}")
string(STRIP "${CMAKE_MATCH_2}" terms)
string(REPLACE "\n\n" "\n.\n" terms "${terms}")
string(REPLACE "\n" "\n " terms "${terms}")
file(WRITE ${folder}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: cmmaudio
Upstream-Contact: ${CPACK_PACKAGE_CONTACT}

Files: *
Copyright: ${holder}
License: Expat
 ${terms}
")
file(WRITE ${folder}/changelog.Debian "cmmaudio (${PROJECT_VERSION}-1) unstable; urgency=medium

  * Packages of version ${PROJECT_VERSION}; changelog.gz has what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${folder}/triggers)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages_library.cmake)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${folder}/changelog COPYONLY)
execute_process(COMMAND gzip -9nkf changelog changelog.Debian WORKING_DIRECTORY ${folder} COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  install(FILES ${folder}/copyright ${folder}/changelog.gz ${folder}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME} COMPONENT ${component})
endforeach()
include(CPack)
