# SPDX-License-Identifier: MIT
# Turns the comments of the public headers into Doxygen's, a file at a time. Ours say by their shape
# what Doxygen takes as commands: "name  in  text", "-> result", deeper lines.

# Nothing in a text is a command. Names of functions become links: Doxygen reports dead ones.
function plain(text) {
    gsub(/[\\@<>#&%"]/, "\\\\&", text)
    gsub(/[A-Za-z0-9]+_(api|innerapi|ext)_[A-Za-z0-9_]+/, "#&", text)
    return text
}

function say(text) {
    doc = doc text "\n"
}

# States of a comment: "" paragraph, "list" parameters and results, "verbatim" lists and code.
function enter(next_state) {
    if (state == "verbatim" && next_state != "verbatim") say("@endverbatim")
    if (state == "list" && next_state == "") say("")
    if (state != "verbatim" && next_state == "verbatim") say("@verbatim")
    state = next_state
}

# text: "names  direction  meaning", several names apart by commas
function parameter(text,    names, direction) {
    match(text, / +(in|out|in\/out) +/)
    names = substr(text, 1, RSTART - 1)
    direction = substr(text, RSTART, RLENGTH)
    gsub(/ /, "", names)
    gsub(/ /, "", direction)
    sub(/\//, ",", direction)
    enter("list")
    say("@param[" direction "] " names " " plain(substr(text, RSTART + RLENGTH)))
}

# One line of a block comment, without what frames it.
function line_of(text) {
    if (text ~ /^[A-Za-z_0-9]+(, [A-Za-z_0-9]+)* +(in|out|in\/out) +[^ ]/) {
        parameter(text)
    } else if (text ~ /^-> /) {
        enter("list")
        say("@return " plain(substr(text, 4)))
    } else if (text ~ /^(Any thread|One thread|One tool|Not for several|Not thread-safe)/) {
        enter("")
        say("@par Threads\n" plain(text))
    } else if (state == "list" && text ~ /^  /) {
        say((text ~ /^   (-?[0-9]|-E|> 0)/ ? "@n" : "") plain(text))
    } else if (text ~ /^    / || (text == "" && state == "verbatim")) {
        enter("verbatim")
        say(text)
    } else {
        enter("")
        say(plain(text))
    }
}

function block(text,    ended) {
    ended = sub(/ *\*\/$/, "", text)
    if (!ended || text != "") line_of(text)
    if (!ended) return
    enter("")
    in_block = 0
    printf "%s*/\n", doc
}

# A comment after code, or a further line of one.
function trailing(code, text,    ended) {
    ended = sub(/ *\*\/$/, "", text)
    in_trailing = !ended
    print code plain(text) (ended ? " */" : "")
}

FNR == 1 { doc = ""; in_block = in_trailing = 0 }
in_block { sub(/^ *\*( |$)/, ""); block($0); next }
in_trailing { sub(/^ */, ""); trailing("", $0); next }
/^ *\/\*/ {
    sub(/^ *\/\* /, "")
    doc = "/** "
    state = ""
    in_block = 1
    block($0 ~ /^SPDX/ ? "" : $0)
    if (/^SPDX/) doc = "/** @file\n"
    next
}
/\/\*/ { at = index($0, "/*"); trailing(substr($0, 1, at - 1) "/**< ", substr($0, at + 3)); next }

# One comment above several declarations is the comment of each.
/^$/ { doc = "" }
/^(ZV_API|#define)/ && repeat { printf "%s*/\n", doc }
{ repeat = /^#define|;$/ && doc != ""; print }
