# SPDX-License-Identifier: MIT
# Run by cpack on the staged files: gives each Debian package its copyright and changelog, and
# compresses what Debian compresses. A plain `cmake --install` has none of this.
string(TIMESTAMP now "%s" UTC)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(now $ENV{SOURCE_DATE_EPOCH})
endif()
execute_process(COMMAND date -R -u -d @${now} OUTPUT_VARIABLE date
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(READ ${CPACK_RESOURCE_FILE_LICENSE} license)
# The tool has a script in it that others wrote.
get_filename_component(source ${CPACK_RESOURCE_FILE_LICENSE} DIRECTORY)
file(READ ${source}/third_party/uplot/LICENSE uplot_license)
set(tool_license
    "${license}\n\nThe pages that zvprobe writes hold uPlot 1.6.32, whose licence is this:\n\n${uplot_license}\n")
# Libraries of headers alone are compiled into it.
foreach(headers libcli11-dev nlohmann-json3-dev)
    if(EXISTS /usr/share/doc/${headers}/copyright)
        file(READ /usr/share/doc/${headers}/copyright headers_license)
        string(APPEND tool_license
            "\nIt is built with the headers of ${headers}, whose copyright file is this:\n\n${headers_license}\n")
    endif()
endforeach()

# zv_gzip(file): replaces a file by its compressed form, without name and time inside.
function(zv_gzip file)
    execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
    set(documents ${root}/share/doc/${package})
    if(component STREQUAL "tool")
        file(WRITE ${documents}/copyright "${tool_license}")
    else()
        file(WRITE ${documents}/copyright "${license}")
    endif()
    file(WRITE ${documents}/changelog
        "zvbitstream (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n"
        "  * Release ${CPACK_PACKAGE_VERSION}; CHANGELOG.md of the source tells what changed.\n\n"
        " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
    zv_gzip(${documents}/changelog)
    file(GLOB pages ${root}/share/man/man1/*.1)
    foreach(page ${pages})
        zv_gzip(${page})
    endforeach()
    file(GLOB_RECURSE archives ${root}/lib/*.a)
    foreach(archive ${archives})
        execute_process(COMMAND strip --strip-unneeded --enable-deterministic-archives ${archive}
            COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
endforeach()
