# SPDX-License-Identifier: MIT
# GoogleTest for the target: the installed one, otherwise built from the sources that Debian's
# googletest installs. A cross build finds no other.
include_guard()
find_package(GTest QUIET)
if(NOT TARGET GTest::gtest)
    set(ZV_GTEST_SOURCE /usr/src/googletest/googletest CACHE PATH "Sources of GoogleTest")
    if(NOT EXISTS ${ZV_GTEST_SOURCE}/src/gtest-all.cc)
        message(FATAL_ERROR "The tests need GoogleTest: install libgtest-dev (the sources are in "
            "googletest), state ZV_GTEST_SOURCE, or switch the tests off: -DZV_BUILD_TESTS=OFF")
    endif()
    find_package(Threads REQUIRED)
    add_library(zv_gtest STATIC EXCLUDE_FROM_ALL
        ${ZV_GTEST_SOURCE}/src/gtest-all.cc ${ZV_GTEST_SOURCE}/src/gtest_main.cc)
    target_include_directories(zv_gtest SYSTEM PUBLIC ${ZV_GTEST_SOURCE}/include
        PRIVATE ${ZV_GTEST_SOURCE})
    target_compile_features(zv_gtest PUBLIC cxx_std_20)
    target_link_libraries(zv_gtest PUBLIC Threads::Threads)
    add_library(GTest::gtest ALIAS zv_gtest)
    add_library(GTest::gtest_main ALIAS zv_gtest)
endif()
