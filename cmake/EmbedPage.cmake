# SPDX-License-Identifier: MIT
# Puts the HTML report's page, its styles and its scripts, and the script of a watch's overview,
# into one C++ source. Called by the build:
#   cmake -D PAGE=folder -D UPLOT=folder -D SCRIPTS=a.js,b.js -D OVERVIEW=b.js,c.js
#       -D OUT=page_parts.cpp -P EmbedPage.cmake
# The Content-Security-Policy of each page allows exactly its script, by its hash, and that of the
# report exactly its style.
cmake_minimum_required(VERSION 3.25)

# zv_hash(result text): the base64 of the SHA-256 of the text
function(zv_hash result text)
    string(SHA256 hex "${text}")
    set(digits "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
    set(base64 "")
    # 21 groups of three digits are two base64 digits each; the last digit has two bits of padding.
    foreach(group RANGE 20)
        math(EXPR at "${group} * 3")
        string(SUBSTRING ${hex} ${at} 3 three)
        math(EXPR high "0x${three} >> 6")
        math(EXPR low "0x${three} & 63")
        string(SUBSTRING ${digits} ${high} 1 first)
        string(SUBSTRING ${digits} ${low} 1 second)
        string(APPEND base64 ${first}${second})
    endforeach()
    string(SUBSTRING ${hex} 63 1 rest)
    math(EXPR last "0x${rest} << 2")
    string(SUBSTRING ${digits} ${last} 1 first)
    set(${result} "${base64}${first}=" PARENT_SCOPE)
endfunction()

# zv_script(result start files): one script of the files, which share their names, after the start
function(zv_script result start files)
    set(all "${start}(() => {\n\"use strict\";\n")
    string(REPLACE "," ";" files "${files}")
    foreach(file IN LISTS files)
        file(READ ${PAGE}/${file} text)
        string(APPEND all "${text}")
    endforeach()
    string(APPEND all "})();\n")
    string(TOLOWER "${all}" lower)
    foreach(forbidden "</script" "<!--" ")zvpage\"")
        string(FIND "${lower}" "${forbidden}" at)
        if(NOT at EQUAL -1)
            message(FATAL_ERROR "a script of the page holds ${forbidden}, which would end it early")
        endif()
    endforeach()
    set(${result} "${all}" PARENT_SCOPE)
endfunction()

file(READ ${UPLOT}/LICENSE uplot_license)
file(READ ${UPLOT}/uPlot.iife.min.js uplot_script)
file(READ ${UPLOT}/uPlot.min.css uplot_style)
file(READ ${PAGE}/page.html html)
file(READ ${PAGE}/page.css style)
# The licence goes with every copy, in place of the line that says where to find it.
string(REGEX REPLACE "^/[*]![^\n]*[*]/" "" uplot_script "${uplot_script}")

string(CONCAT all_styles "${uplot_style}" "${style}")
zv_script(all_scripts "/* uPlot 1.6.32\n\n${uplot_license}*/\n${uplot_script}\n" "${SCRIPTS}")
zv_script(overview_script "" "${OVERVIEW}")

zv_hash(style_hash "${all_styles}")
zv_hash(script_hash "${all_scripts}")
zv_hash(overview_hash "${overview_script}")
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
    "const std::string_view kOverviewScript = R\"zvpage(${overview_script})zvpage\";\n\n"
    "const std::string_view kOverviewScriptHash = \"${overview_hash}\";\n\n"
    "}  // namespace zvprobe\n")
