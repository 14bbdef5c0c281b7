# SPDX-License-Identifier: MIT
# What `cmake --install` puts where. Six components: runtime (shared libraries), dev (headers,
# archives, CMake package, pkg-config file), survey and survey_dev (the same of libzvsurvey, which
# needs no other library of ours), tool (zvprobe with manual page and completions) and service, which
# is installed only when asked for: it writes into /etc. The install rule of zvprobe itself stands
# beside the target.
include(CMakePackageConfigHelpers)

set(zv_shared zvbitstream zvlog zvcommon zvprotocol)
list(TRANSFORM zv_shared APPEND _static OUTPUT_VARIABLE zv_static)
set(zv_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zvbitstream)

# Outside the system's own prefix programs and libraries find their neighbours by themselves.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH to_libraries
        ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${zv_shared} PROPERTIES INSTALL_RPATH "$ORIGIN")
    if(TARGET zvprobe)
        set_target_properties(zvprobe PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
    endif()
endif()

install(DIRECTORY include/ platform/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zvbitstream COMPONENT dev
    FILES_MATCHING PATTERN "*.h" PATTERN zvsurvey.h EXCLUDE)
install(FILES include/zvsurvey.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zvbitstream COMPONENT survey_dev)
install(TARGETS ${zv_shared} ${zv_static} EXPORT zvbitstreamTargets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev
    ARCHIVE COMPONENT dev)
install(EXPORT zvbitstreamTargets
    NAMESPACE zvbitstream:: DESTINATION ${zv_package_dir} COMPONENT dev)
install(TARGETS zvsurvey zvsurvey_static EXPORT zvsurveyTargets
    LIBRARY COMPONENT survey NAMELINK_COMPONENT survey_dev
    ARCHIVE COMPONENT survey_dev)
install(EXPORT zvsurveyTargets
    NAMESPACE zvbitstream:: DESTINATION ${zv_package_dir} COMPONENT survey_dev)
configure_package_config_file(cmake/zvbitstreamConfig.cmake.in
    ${PROJECT_BINARY_DIR}/zvbitstreamConfig.cmake INSTALL_DESTINATION ${zv_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zvbitstreamConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zvbitstreamConfig.cmake
    ${PROJECT_BINARY_DIR}/zvbitstreamConfigVersion.cmake
    DESTINATION ${zv_package_dir} COMPONENT dev)

set(zv_static_system_libraries "-lstdc++ -lm -pthread")
foreach(library ${CMAKE_DL_LIBS})
    string(APPEND zv_static_system_libraries " -l${library}")
endforeach()
# The prefix is told relative to the file, so that an installed tree can be moved as a whole.
file(RELATIVE_PATH zv_pc_to_prefix
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" zv_pc_to_prefix "${zv_pc_to_prefix}")
configure_file(cmake/zvbitstream.pc.in ${PROJECT_BINARY_DIR}/zvbitstream.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zvbitstream.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
configure_file(cmake/zvsurvey.pc.in ${PROJECT_BINARY_DIR}/zvsurvey.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zvsurvey.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT survey_dev)

if(ZV_BUILD_TOOLS)
    configure_file(docs/zvprobe.1 ${PROJECT_BINARY_DIR}/zvprobe.1 @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/zvprobe.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    set(completions tools/zvprobe/completions)
    install(FILES ${completions}/zvprobe.bash RENAME zvprobe
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
    install(FILES ${completions}/_zvprobe
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tool)
    install(FILES ${completions}/zvprobe.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
endif()

# The service is nothing without an endpoint.
if(ZV_BUILD_TOOLS AND ZV_LISTEN AND TARGET PkgConfig::zv_prometheus AND TARGET PkgConfig::zv_httplib)
    set(zv_service zvprobe-monitor)
    set(ZV_CONFIG_DIR ${CMAKE_INSTALL_FULL_SYSCONFDIR})
    configure_file(share/systemd/zvprobe-monitor.service.in
        ${PROJECT_BINARY_DIR}/zvprobe-monitor.service @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/zvprobe-monitor.service
        DESTINATION lib/systemd/system COMPONENT service EXCLUDE_FROM_ALL)
    install(FILES share/systemd/zvprobe-monitor.default RENAME zvprobe-monitor
        DESTINATION ${ZV_CONFIG_DIR}/default COMPONENT service EXCLUDE_FROM_ALL)
    install(FILES examples/watch.toml
        DESTINATION ${ZV_CONFIG_DIR}/zvprobe COMPONENT service EXCLUDE_FROM_ALL)
    install(FILES share/grafana/zvprobe.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zvprobe/grafana COMPONENT service EXCLUDE_FROM_ALL)
    install(FILES share/prometheus/zvprobe.rules.yml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zvprobe/prometheus COMPONENT service EXCLUDE_FROM_ALL)
endif()
