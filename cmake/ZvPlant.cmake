# SPDX-License-Identifier: MIT
# Planted faults: what a check must notice, so that it is seen to fail.
include_guard()

# zv_plant(from to text fault [text fault ...]): copies a file with each text replaced by a fault.
# The copy is made anew when the file changes.
function(zv_plant from to)
    file(READ ${from} content)
    math(EXPR last "${ARGC} - 1")
    foreach(at RANGE 2 ${last} 2)
        math(EXPR next "${at} + 1")
        string(FIND "${content}" "${ARGV${at}}" place)
        if(place EQUAL -1)
            message(FATAL_ERROR "${from} holds no '${ARGV${at}}' to put a fault in place of")
        endif()
        string(REPLACE "${ARGV${at}}" "${ARGV${next}}" content "${content}")
    endforeach()
    file(WRITE ${to} "${content}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${from})
endfunction()
