# SPDX-License-Identifier: MIT
# What those who install the library rely on: the installed package, the manual, and a binary
# interface that equals the checked-in dump. Every check that compares is seen to fail once.
include(ZvPlant)

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
        abi_installed_test_notices_a_wrong_version PROPERTIES RESOURCE_LOCK install TIMEOUT 300
        ENVIRONMENT CMAKE_GENERATOR=${CMAKE_GENERATOR})
endif()

# A project that holds this one as a subdirectory gets no program and no test that it did not ask for.
if(NOT CMAKE_CROSSCOMPILING)
    set(embed ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_SOURCE_DIR}/embedder -G ${CMAKE_GENERATOR}
        -DZV_SOURCE=${PROJECT_SOURCE_DIR})
    add_test(NAME abi_subproject_makes_libraries_alone
        COMMAND ${embed} --fresh -B ${CMAKE_CURRENT_BINARY_DIR}/embedder)
    add_test(NAME abi_subproject_check_notices_the_tool
        COMMAND ${embed} --fresh -B ${CMAKE_CURRENT_BINARY_DIR}/embedder_of_tool -DZV_BUILD_TOOLS=ON)
    set_tests_properties(abi_subproject_check_notices_the_tool PROPERTIES
        PASS_REGULAR_EXPRESSION "programs or tests in a subproject: zvprobe")
endif()

if(ZV_BUILD_TOOLS)
    set(manual_check ${CMAKE_CURRENT_SOURCE_DIR}/manual_check.sh)
    set(manual ${PROJECT_SOURCE_DIR}/docs/zvprobe.1)
    set(completions ${PROJECT_SOURCE_DIR}/tools/zvprobe/completions)
    foreach(document ${manual} ${completions}/zvprobe.bash ${completions}/_zvprobe
            ${completions}/zvprobe.fish)
        get_filename_component(name ${document} NAME)
        add_test(NAME manual_agrees_with_help_${name}
            COMMAND ${manual_check} ${zv_probe} ${document})
    endforeach()

    zv_plant(${manual} ${CMAKE_CURRENT_BINARY_DIR}/wrong_manual.1
        "\\-\\-strict" "\\-\\-stricter")
    add_test(NAME manual_check_notices_a_renamed_option
        COMMAND ${manual_check} ${zv_probe} ${CMAKE_CURRENT_BINARY_DIR}/wrong_manual.1)
    set_tests_properties(manual_check_notices_a_renamed_option PROPERTIES
        PASS_REGULAR_EXPRESSION "lacks the option --strict")

    set(completions_test ${CMAKE_CURRENT_SOURCE_DIR}/completions_test.sh)
    add_test(NAME completions_offer_what_comes_next COMMAND ${completions_test} ${completions})
    foreach(file zvprobe.bash _zvprobe zvprobe.fish)
        zv_plant(${completions}/${file} ${CMAKE_CURRENT_BINARY_DIR}/wrong_completions/${file}
            "pmt sdt" "mpt sdt")
    endforeach()
    add_test(NAME completions_test_notices_a_misspelt_table
        COMMAND ${completions_test} ${CMAKE_CURRENT_BINARY_DIR}/wrong_completions)
    set_tests_properties(completions_test_notices_a_misspelt_table PROPERTIES
        PASS_REGULAR_EXPRESSION "[+]zvprobe build p => pat\n")
    set_tests_properties(completions_offer_what_comes_next
        completions_test_notices_a_misspelt_table PROPERTIES TIMEOUT 120)
endif()

# The dump describes x86-64; types come from the debug information of the build.
find_program(ABIDIFF abidiff)
if(ABIDIFF AND NOT ZV_SANITIZE AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND
        CMAKE_BUILD_TYPE MATCHES "Debug|RelWithDebInfo")
    set(dump ${CMAKE_CURRENT_SOURCE_DIR}/zvbitstream.abi)
    # Without --headers-dir: the dump has no places, so each of its records would pass for private.
    add_test(NAME abi_equals_the_dump
        COMMAND ${ABIDIFF} --no-show-locs ${dump} $<TARGET_FILE:zvbitstream>)

    zv_plant(${dump} ${CMAKE_CURRENT_BINARY_DIR}/wrong.abi
        "flv_api_check" "flv_api_verify"
        "'pat_period'" "'sdt_period@'" "'sdt_period'" "'pat_period'" "'sdt_period@'" "'sdt_period'")
    add_test(NAME abi_diff_notices_a_new_name_and_an_exchange
        COMMAND ${ABIDIFF} --no-show-locs ${CMAKE_CURRENT_BINARY_DIR}/wrong.abi
            $<TARGET_FILE:zvbitstream>)
    set_tests_properties(abi_diff_notices_a_new_name_and_an_exchange PROPERTIES
        PASS_REGULAR_EXPRESSION "1 Removed, 1 Changed.*StreamInfo")
endif()
