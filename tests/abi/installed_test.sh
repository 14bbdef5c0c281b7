#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs a build into a place of its own and uses it as a host would: C11 and C++20, gcc and
# clang, pkg-config and CMake, shared and static, and with the platform libraries replaced. The
# survey likewise, in C++ without exceptions and RTTI.
# usage: installed_test.sh BUILD_DIR VERSION
set -eu
build=$1
version=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >"$work/install.log" ||
    { cat "$work/install.log"; exit 1; }
lib=$(dirname "$(find "$prefix" -name libzvbitstream.so)")
export LD_LIBRARY_PATH="$lib" PKG_CONFIG_PATH="$lib/pkgconfig"

fail() { echo "installed_test: $*" >&2; exit 1; }

# expect WHAT ACTUAL EXPECTED
expect() { [ "$2" = "$3" ] || fail "$1: got '$2' instead of '$3'"; }

padded=$(echo "$version" | awk -F. '{ printf "%02d.%02d.%02d", $1, $2, $3 }')
says="version $padded parsed 0 mpegts 1 missing 0"
survey_says="survey packets 8 handed on 8 skipped 3 json 1"

# Versions and SONAMEs say the same everywhere.
for name in zvbitstream zvsurvey; do
    expect "pkg-config" "$(pkg-config --modversion $name)" "$version"
done
grep -q "^## $version" "$here/../../CHANGELOG.md" || fail "CHANGELOG.md does not know $version"
for name in zvbitstream zvlog zvcommon zvprotocol zvsurvey; do
    expect "SONAME" "$(objdump -p "$lib/lib$name.so" | awk '$1 == "SONAME" { print $2 }')" \
        "lib$name.so.${version%%.*}"
    [ -f "$lib/lib$name.so.$version" ] || fail "lib$name.so.$version is missing"
done
if [ -x "$prefix/bin/zvprobe" ]; then
    expect "zvprobe" "$("$prefix/bin/zvprobe" --version)" "zvprobe $padded"
    for file in man/man1/zvprobe.1 bash-completion/completions/zvprobe \
        zsh/vendor-completions/_zvprobe fish/vendor_completions.d/zvprobe.fish; do
        [ -s "$prefix/share/$file" ] || fail "$file is missing"
    done
    grep -q "^.TH ZVPROBE .*\"zvprobe $version\"" "$prefix/share/man/man1/zvprobe.1" ||
        fail "the manual page tells another version"
fi

cflags=$(pkg-config --cflags zvbitstream)
shared=$(pkg-config --libs zvbitstream)
static=$(pkg-config --variable=static_libs zvbitstream)
system=$(pkg-config --variable=system_libs zvbitstream)
survey_cflags=$(pkg-config --cflags zvsurvey)
survey_shared=$(pkg-config --libs zvsurvey)
survey_static=$(pkg-config --variable=static_libs zvsurvey)
warnings="-Wall -Wextra -Wpedantic -Werror"

# The words in $cflags, $shared, ... are meant to be split.
# shellcheck disable=SC2086
try() { # compiler standard source
    $1 -std=$2 $warnings $cflags -c "$here/$3" -o "$work/host.o"
    $1 "$work/host.o" $shared -o "$work/shared"
    expect "$1 $2 shared" "$("$work/shared")" "$says"
    $1 "$work/host.o" $static -o "$work/static"
    expect "$1 $2 static" "$(LD_LIBRARY_PATH='' "$work/static")" "$says"

    # Replaced in the program: only the library proper is linked from the installed tree.
    $1 "$work/host.o" "$work/double.o" "$lib/libzvbitstream_static.a" $system -o "$work/own_static"
    $1 "$work/host.o" "$work/double.o" -L"$work/own" -L"$lib" -lzvbitstream \
        -Wl,-rpath-link,"$work/own" -o "$work/own_shared"
    for own in own_static own_shared; do
        expect "$1 $2 $own" "$("$work/$own" 2>"$work/calls")" "$says"
        grep -Eq 'lines [1-9].* blocks [1-9].* crcs [1-9].* schemes [1-9]' "$work/calls" ||
            fail "$1 $2 $own: the double was not called: $(cat "$work/calls")"
    done

    # Replaced on disk: the program of above, unchanged, with libraries of the same names.
    expect "$1 $2 own libraries" \
        "$(LD_LIBRARY_PATH="$work/own:$lib" "$work/shared" 2>"$work/calls")" "$says"
    grep -Eq 'blocks [1-9]' "$work/calls" || fail "$1 $2: the libraries were not replaced"
}

# shellcheck disable=SC2086
try_survey() { # compiler standard source [option...]
    options="$1 -std=$2 $warnings $survey_cflags $here/$3"
    said="$1 $2 survey"
    shift 3
    $options "$@" $survey_shared -o "$work/shared"
    expect "$said shared" "$("$work/shared")" "$survey_says"
    $options "$@" $survey_static -o "$work/static"
    expect "$said static" "$(LD_LIBRARY_PATH='' "$work/static")" "$survey_says"
}

# shellcheck disable=SC2086
make_double() { # compiler
    $1 -std=c11 -fPIC $warnings $cflags -c "$here/platform_double.c" -o "$work/double.o"
    mkdir -p "$work/own"
    for name in zvlog zvcommon zvprotocol; do
        $1 -shared "$work/double.o" -Wl,-soname,"lib$name.so.${version%%.*}" \
            -o "$work/own/lib$name.so.${version%%.*}"
    done
}

tried=""
for pair in gcc:g++ clang:clang++; do
    c=${pair%%:*} cpp=${pair##*:}
    if command -v "$c" >/dev/null && command -v "$cpp" >/dev/null; then
        make_double "$c"
        try "$c" c11 installed_host.c
        try "$cpp" c++20 installed_host.cpp
        try_survey "$c" c11 installed_survey.c
        try_survey "$cpp" c++20 installed_survey.cpp -fno-exceptions -fno-rtti
        tried="$tried $c"
    fi
done
[ -n "$tried" ] || fail "neither gcc nor clang is installed"

{
    cmake -S "$here/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DZV_VERSION="$version" &&
        cmake --build "$work/consumer"
} >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log"; exit 1; }
for host in shared_c shared_cpp static_c static_cpp; do
    expect "find_package $host" "$("$work/consumer/$host")" "$says"
    expect "find_package survey $host" "$("$work/consumer/survey_$host")" "$survey_says"
done
echo "installed package used with:$tried"
