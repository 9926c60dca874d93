# Run by cpack when the packages are made. It has given the one of the shared library scripts that call ldconfig. The
# trigger does so too, and a package without scripts leaves nothing behind when it is removed.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(package MATCHES "/libcmmaudio[0-9]+_[^/]*$")
    set(tree ${package}.tree)
    file(REMOVE_RECURSE ${tree})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package}
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${tree})
  endif()
endforeach()
