# SPDX-License-Identifier: MIT
# What those who install the library rely on: the installed package, the manual, and a binary
# interface that equals the checked-in dump. Every check that compares is seen to fail once.

# A sanitized library asks for a sanitized host, and a cross build for a host of its own.
if(NOT ZV_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME abi_installed_package_serves_c_and_cpp_hosts
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/installed_test.sh
            ${PROJECT_BINARY_DIR} ${PROJECT_VERSION})
    add_test(NAME abi_installed_test_notices_a_wrong_version
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/installed_test.sh ${PROJECT_BINARY_DIR} 9.9.9)
    set_tests_properties(abi_installed_test_notices_a_wrong_version PROPERTIES
        PASS_REGULAR_EXPRESSION "pkg-config: got '${PROJECT_VERSION}' instead of '9.9.9'")
    # Both run the install rules of one build directory.
    set_tests_properties(abi_installed_package_serves_c_and_cpp_hosts
        abi_installed_test_notices_a_wrong_version PROPERTIES RESOURCE_LOCK install TIMEOUT 300)
endif()

if(ZV_BUILD_TOOLS)
    set(manual_check ${CMAKE_CURRENT_SOURCE_DIR}/manual_check.sh)
    set(manual ${PROJECT_SOURCE_DIR}/docs/zvprobe.1)
    set(completions ${PROJECT_SOURCE_DIR}/tools/zvprobe/completions)
    foreach(document ${manual} ${completions}/zvprobe.bash ${completions}/_zvprobe
            ${completions}/zvprobe.fish)
        get_filename_component(name ${document} NAME)
        add_test(NAME manual_agrees_with_help_${name}
            COMMAND ${manual_check} $<TARGET_FILE:zvprobe> ${document})
    endforeach()

    file(READ ${manual} text)
    string(REPLACE "\\-\\-strict" "\\-\\-stricter" text "${text}")
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/wrong_manual.1 "${text}")
    add_test(NAME manual_check_notices_a_renamed_option
        COMMAND ${manual_check} $<TARGET_FILE:zvprobe> ${CMAKE_CURRENT_BINARY_DIR}/wrong_manual.1)
    set_tests_properties(manual_check_notices_a_renamed_option PROPERTIES
        PASS_REGULAR_EXPRESSION "lacks the option --strict")
endif()

# The dump describes x86-64; types come from the debug information of the build.
find_program(ABIDIFF abidiff)
if(ABIDIFF AND NOT ZV_SANITIZE AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND
        CMAKE_BUILD_TYPE MATCHES "Debug|RelWithDebInfo")
    set(dump ${CMAKE_CURRENT_SOURCE_DIR}/zvbitstream.abi)
    set(abidiff ${ABIDIFF} --no-show-locs --headers-dir1 ${PROJECT_SOURCE_DIR}/include
        --headers-dir2 ${PROJECT_SOURCE_DIR}/include)
    add_test(NAME abi_equals_the_dump
        COMMAND ${abidiff} ${dump} $<TARGET_FILE:zvbitstream>)

    file(READ ${dump} text)
    string(REPLACE "flv_api_check" "flv_api_verify" text "${text}")
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/wrong.abi "${text}")
    add_test(NAME abi_diff_notices_a_renamed_function
        COMMAND ${abidiff} ${CMAKE_CURRENT_BINARY_DIR}/wrong.abi $<TARGET_FILE:zvbitstream>)
    set_tests_properties(abi_diff_notices_a_renamed_function PROPERTIES
        PASS_REGULAR_EXPRESSION "1 Removed")
endif()
