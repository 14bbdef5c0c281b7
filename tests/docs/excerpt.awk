# SPDX-License-Identifier: MIT
# Succeeds when the first file stands line by line in one of the others, moved as a whole to the
# left or right perhaps.

function depth(line) {
    match(line, /^ */)
    return RLENGTH
}
function same(a, b, shift) {
    if (a == "" || b == "") return a == b
    return substr(a, depth(a) + 1) == substr(b, depth(b) + 1) && depth(a) - depth(b) == shift
}
function stands_at(line,    i, shift) {
    shift = depth(have[line]) - depth(want[1])
    for (i = 1; i <= wanted; ++i)
        if (of[line + i - 1] != of[line] || !same(have[line + i - 1], want[i], shift)) return 0
    return 1
}

NR == FNR { want[++wanted] = $0; next }
{ have[++lines] = $0; of[lines] = FILENAME }
END {
    for (line = 1; line + wanted - 1 <= lines; ++line)
        if (stands_at(line)) exit 0
    exit 1
}
