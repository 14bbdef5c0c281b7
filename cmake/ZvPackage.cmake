# SPDX-License-Identifier: MIT
# Debian packages from the install components: libzvbitstream<SONAME>, libzvbitstream-dev,
# libzvsurvey<SONAME>, libzvsurvey-dev, zvprobe and zvprobe-monitor.
# Build with the preset "deb" (prefix /usr), then `cpack --preset deb`.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zvbitstream)
set(CPACK_PACKAGE_VENDOR "The zvbitstream authors")
set(ZV_DEB_MAINTAINER "The zvbitstream authors <maintainers@zvbitstream.example>"
    CACHE STRING "Maintainer of the Debian packages: Name <address>")
set(CPACK_PACKAGE_CONTACT "${ZV_DEB_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev survey survey_dev)
if(ZV_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(zv_service)
    list(APPEND CPACK_COMPONENTS_ALL service)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# zv_deb_libraries(component package library ...): a package of shared libraries. The dynamic linker's
# cache is renewed by a trigger. DebScripts.cmake undoes cpack's own way.
macro(zv_deb_libraries component package)
    set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${package})
    set(CPACK_DEBIAN_${component}_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
    set(zv_control ${PROJECT_BINARY_DIR}/deb-control/${package})
    file(WRITE ${zv_control}/triggers "activate-noawait ldconfig\n")
    file(WRITE ${zv_control}/shlibs "")
    foreach(library ${ARGN})
        file(APPEND ${zv_control}/shlibs
            "lib${library} ${PROJECT_VERSION_MAJOR} ${package} (>= ${PROJECT_VERSION})\n")
    endforeach()
    set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA
        ${zv_control}/triggers ${zv_control}/shlibs)
endmacro()

set(zv_runtime libzvbitstream${PROJECT_VERSION_MAJOR})
zv_deb_libraries(RUNTIME ${zv_runtime} ${zv_shared})
if(TARGET CURL::libcurl)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libcurl4 | libcurl4t64") # loaded for http only
endif()
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"media bitstream analysis and building (shared libraries)
Describes MPEG transport streams, FLV files and MPEG audio: programmes,
streams, clocks and errors. Builds and remaps transport stream tables.
.
The log, common and protocol libraries that it uses are included; a host may
put its own in their place.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzvbitstream-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${zv_runtime} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "pkg-config, g++") # g++: what the archives link
set(CPACK_DEBIAN_DEV_DESCRIPTION
"media bitstream analysis and building (development files)
Headers, archives, CMake package and pkg-config file of zvbitstream, and of
the log, common and protocol libraries that it uses.")

set(zv_survey libzvsurvey${PROJECT_VERSION_MAJOR})
zv_deb_libraries(SURVEY ${zv_survey} zvsurvey)
set(CPACK_DEBIAN_SURVEY_DESCRIPTION
"what is in any MPEG transport stream (shared library)
Surveys a transport stream: every PID, programmes and services, tables that
change, continuity, damage. Answers as records, events and JSON. Needs the
standard library only.")

# zv_api.h and the CMake package are shared with zvbitstream, and stand in its package.
set(CPACK_DEBIAN_SURVEY_DEV_PACKAGE_NAME libzvsurvey-dev)
set(CPACK_DEBIAN_SURVEY_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_SURVEY_DEV_PACKAGE_DEPENDS
    "${zv_survey} (= ${PROJECT_VERSION}), libzvbitstream-dev (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_SURVEY_DEV_PACKAGE_SUGGESTS "pkg-config, g++") # g++: what the archive links
set(CPACK_DEBIAN_SURVEY_DEV_DESCRIPTION
"what is in any MPEG transport stream (development files)
Header, archive, CMake targets and pkg-config file of zvsurvey.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zvprobe)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
    "${zv_runtime} (= ${PROJECT_VERSION}), ${zv_survey} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_TOOL_DESCRIPTION
"what is in this media stream?
Describes MPEG transport streams, FLV files and MPEG audio, from files, pipes
and the network, as text or JSON. Monitors live streams, extracts elementary
streams, unpacks RTP, builds tables and sends streams in real time.")

# The service of `zvprobe monitor`. What it has in /etc is the administrator's.
set(zv_control ${PROJECT_BINARY_DIR}/deb-control/zvprobe-monitor)
file(WRITE ${zv_control}/conffiles "/etc/default/zvprobe-monitor\n/etc/zvprobe/watch.toml\n")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA ${zv_control}/conffiles)
foreach(script postinst prerm postrm)
    configure_file(share/debian/zvprobe-monitor.${script} ${zv_control}/${script} COPYONLY)
    list(APPEND CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA ${zv_control}/${script})
endforeach()
set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME zvprobe-monitor)
set(CPACK_DEBIAN_SERVICE_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION video)
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "zvprobe (= ${PROJECT_VERSION}), procps")
set(CPACK_DEBIAN_SERVICE_PACKAGE_SUGGESTS "prometheus")
set(CPACK_DEBIAN_SERVICE_DESCRIPTION
"watch over many media streams (systemd service)
Runs `zvprobe monitor` over the streams that /etc/zvprobe/watch.toml names, and
answers Prometheus and browsers.
.
With alert rules for Prometheus and a dashboard for Grafana.")

# Copyright, changelog and compression of documents, as Debian's policy asks.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebDocuments.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebScripts.cmake)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
include(CPack)
