# SPDX-License-Identifier: MIT
# Puts the HTML report's page, its styles and its scripts into one C++ source. Called by the build:
#   cmake -D PAGE=folder -D UPLOT=folder -D SCRIPTS=a.js,b.js -D OUT=page_parts.cpp -P EmbedPage.cmake
# The page's Content-Security-Policy allows exactly this style and this script, by their hashes.
cmake_minimum_required(VERSION 3.25)

# zv_base64(result hex): the base64 of an SHA-256, 64 hexadecimal digits
function(zv_base64 result hex)
    set(digits "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
    set(text "")
    # 21 groups of three digits are two base64 digits each; the last digit has two bits of padding.
    foreach(group RANGE 20)
        math(EXPR at "${group} * 3")
        string(SUBSTRING ${hex} ${at} 3 three)
        math(EXPR high "0x${three} >> 6")
        math(EXPR low "0x${three} & 63")
        string(SUBSTRING ${digits} ${high} 1 first)
        string(SUBSTRING ${digits} ${low} 1 second)
        string(APPEND text ${first}${second})
    endforeach()
    string(SUBSTRING ${hex} 63 1 rest)
    math(EXPR last "0x${rest} << 2")
    string(SUBSTRING ${digits} ${last} 1 first)
    set(${result} "${text}${first}=" PARENT_SCOPE)
endfunction()

file(READ ${UPLOT}/LICENSE uplot_license)
file(READ ${UPLOT}/uPlot.iife.min.js uplot_script)
file(READ ${UPLOT}/uPlot.min.css uplot_style)
file(READ ${PAGE}/page.html html)
file(READ ${PAGE}/page.css style)
# The licence goes with every copy, in place of the line that says where to find it.
string(REGEX REPLACE "^/[*]![^\n]*[*]/" "" uplot_script "${uplot_script}")

string(CONCAT all_styles "${uplot_style}" "${style}")
set(script_parts "/* uPlot 1.6.32\n\n${uplot_license}*/\n")
set(all_scripts "${script_parts}${uplot_script}\n(() => {\n\"use strict\";\n")
string(REPLACE "," ";" SCRIPTS "${SCRIPTS}")
foreach(script IN LISTS SCRIPTS)
    file(READ ${PAGE}/${script} text)
    string(APPEND all_scripts "${text}")
endforeach()
string(APPEND all_scripts "})();\n")

string(TOLOWER "${all_scripts}" lower)
foreach(forbidden "</script" "<!--" ")zvpage\"")
    string(FIND "${lower}" "${forbidden}" at)
    if(NOT at EQUAL -1)
        message(FATAL_ERROR "a script of the page holds ${forbidden}, which would end it early")
    endif()
endforeach()

string(SHA256 style_hex "${all_styles}")
string(SHA256 script_hex "${all_scripts}")
zv_base64(style_hash ${style_hex})
zv_base64(script_hash ${script_hex})
string(REPLACE "@STYLE_HASH@" "${style_hash}" html "${html}")
string(REPLACE "@SCRIPT_HASH@" "${script_hash}" html "${html}")
string(REGEX MATCH "Security-Policy\" content=\"([^\"]*)\"" policy "${html}")
set(policy "${CMAKE_MATCH_1}")
string(REPLACE "@STYLE@" "${all_styles}" html "${html}")

# zv_cut(before after text mark): what stands before the mark, and what after it
function(zv_cut before after text mark)
    string(FIND "${text}" "${mark}" at)
    string(LENGTH "${mark}" length)
    string(SUBSTRING "${text}" 0 ${at} first)
    math(EXPR at "${at} + ${length}")
    string(SUBSTRING "${text}" ${at} -1 second)
    set(${before} "${first}" PARENT_SCOPE)
    set(${after} "${second}" PARENT_SCOPE)
endfunction()
zv_cut(before_data after_data "${html}" "@DATA@")
zv_cut(before_script after_script "${after_data}" "@SCRIPT@")
string(CONCAT after_data "${before_script}" "${all_scripts}" "${after_script}")

file(WRITE ${OUT}
    "// Made by EmbedPage.cmake.\n"
    "#include \"render/page/page_parts.h\"\n\n"
    "namespace zvprobe {\n\n"
    "const std::string_view kPageBeforeData = R\"zvpage(${before_data})zvpage\";\n\n"
    "const std::string_view kPageAfterData = R\"zvpage(${after_data})zvpage\";\n\n"
    "const std::string_view kPagePolicy = R\"zvpage(${policy})zvpage\";\n\n"
    "}  // namespace zvprobe\n")
