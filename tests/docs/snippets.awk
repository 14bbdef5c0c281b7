# SPDX-License-Identifier: MIT
# Takes a document apart. What it quotes goes to files LINE.KIND in `out`, KIND as the fence says
# or, of an indented example, "console" or "sh"; what it refers to in its text to standard output.
# usage: awk -v out=DIRECTORY -f snippets.awk DOCUMENT

function start(kind, line) {
    if (kind == "") kind = "unnamed"
    snippet = sprintf("%s/%05d.%s", out, FNR, kind)
    printf "%s", line > snippet
}
function finish() {
    if (snippet != "") close(snippet)
    snippet = ""
}

# Prints WHAT and each match of `pattern`, without as many characters as frame it.
function list(what, pattern, before, after,    text) {
    text = $0 " "
    while (match(text, pattern)) {
        print what, substr(text, RSTART + before, RLENGTH - before - after)
        text = substr(text, RSTART + RLENGTH)
    }
}

/^```/ {
    if (snippet != "" && !indented) finish()
    else { finish(); indented = 0; start(substr($0, 4), "") }
    next
}
snippet != "" && !indented { print > snippet; next }
/^ +```/ { start("indented-fence", ""); finish() }
/^    [^ ]/ && snippet == "" && blank {
    indented = 1
    start(/^    \$ / ? "console" : "sh", "")
}
indented && !/^    / { finish(); indented = 0 }
indented { print substr($0, 5) > snippet; next }
{
    blank = /^$/
    list("link", "\\]\\([^)#:]+[)#]", 2, 1)
    list("path", "`(\\.ci|bench|cmake|docs|examples|fuzz|include|platform|scripts|src|tests|tools)/" \
         "[A-Za-z0-9_./-]*[` ]", 1, 1)
    list("name", "[A-Za-z0-9]+_(api|innerapi|ext)_[A-Za-z0-9_]+[^A-Za-z0-9_*]", 0, 1)
}
