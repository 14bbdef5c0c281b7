# SPDX-License-Identifier: MIT
# The one place that says how our code is compiled. Flags belong to targets; nothing global is set.

add_library(zv_build_flags INTERFACE)
target_compile_features(zv_build_flags INTERFACE c_std_11 cxx_std_20)
# What the library calls itself, at least two digits each: 1.0.22 is "01.00.22".
string(REGEX REPLACE "([0-9]+)" "0\\1" version ${PROJECT_VERSION})
string(REGEX REPLACE "0([0-9][0-9])" "\\1" version ${version})
target_compile_definitions(zv_build_flags INTERFACE ZV_VERSION_TEXT="${version}")
target_compile_options(zv_build_flags INTERFACE
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow
    $<$<BOOL:${ZV_WERROR}>:-Werror>)
if(ZV_SANITIZE)
    target_compile_options(zv_build_flags INTERFACE
        -fsanitize=${ZV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(zv_build_flags INTERFACE -fsanitize=${ZV_SANITIZE})
endif()

# Code that ends up in a library: position independent, hidden unless exported.
add_library(zv_library_flags INTERFACE)
target_link_libraries(zv_library_flags INTERFACE zv_build_flags)
target_compile_options(zv_library_flags INTERFACE
    $<$<CONFIG:RelWithDebInfo>:-g> # presets ask for line tables alone; the ABI is read from types
    -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)

# zv_object_library(name [EXCEPTIONS] SOURCES a.cpp ... [DEPENDS lower ...])
# One folder of a library. Headers are found by their path below include/ and src/.
function(zv_object_library name)
    cmake_parse_arguments(ARG "EXCEPTIONS" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(${name} OBJECT ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    if(NOT ARG_EXCEPTIONS)
        target_compile_options(${name} PRIVATE -fno-exceptions -fno-rtti)
    endif()
    target_include_directories(${name} PUBLIC
        ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/platform/include
        ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE zv_library_flags PUBLIC ${ARG_DEPENDS})
endfunction()

# zv_platform_library(name SOURCES a.cpp ... [LIBRARIES x ...])
# Shared library `name` and its static twin `name_static`, from the same objects.
function(zv_platform_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_library(${name}_objects OBJECT ${ARG_SOURCES})
    set_target_properties(${name}_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_include_directories(${name}_objects PUBLIC
        ${PROJECT_SOURCE_DIR}/platform/include ${PROJECT_SOURCE_DIR}/include
        PRIVATE ${PROJECT_SOURCE_DIR}/platform)
    target_link_libraries(${name}_objects PRIVATE zv_library_flags ${ARG_LIBRARIES})

    add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
    add_library(${name}_static STATIC $<TARGET_OBJECTS:${name}_objects>)
    set_target_properties(${name} PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR} VERSION ${PROJECT_VERSION})
    foreach(target ${name} ${name}_static)
        target_include_directories(${target} PUBLIC
            $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform/include>
            $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zvbitstream>)
        target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:zv_build_flags> ${ARG_LIBRARIES})
    endforeach()
endfunction()
