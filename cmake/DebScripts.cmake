# SPDX-License-Identifier: MIT
# Run by cpack on the finished packages: takes out the maintainer scripts that cpack adds wherever a
# shared library is. All they do is renew the dynamic linker's cache, which the trigger of
# ZvPackage.cmake does, and with them dpkg keeps a record of a package that was removed.
foreach(package ${CPACK_PACKAGE_FILES})
    set(tree ${CPACK_TEMPORARY_DIRECTORY}/unscripted)
    file(REMOVE_RECURSE ${tree})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS ${tree}/DEBIAN/triggers) # a package without libraries has its own
        file(REMOVE_RECURSE ${tree})
        continue()
    endif()
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${tree})
endforeach()
