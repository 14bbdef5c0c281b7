#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs what is needed on Debian 12, and does nothing when it is all there.
# usage: scripts/setup.sh [checks]
#   (nothing)  what building and testing need
#   checks     also what only some checks use: lint, fuzzing, instruction counts, the ABI, the
#              reference, shells whose completions are tried, Python for its host, a browser for the
#              HTML report, Prometheus and systemd for what the service brings
set -eu

packages="g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libcurl4-openssl-dev libncurses-dev
          libgtest-dev libbenchmark-dev rapidjson-dev tmux parallel
          prometheus-cpp-dev libcpp-httplib-dev"
case ${1:-} in
'') ;;
checks)
    packages="$packages clang clang-format clang-tidy libclang-rt-14-dev valgrind abigail-tools doxygen jq zsh fish
              python3 prometheus systemd chromium chromium-driver"
    ;;
*)
    echo "usage: scripts/setup.sh [checks]" >&2
    exit 2
    ;;
esac

missing=""
for package in $packages; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
        missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=""
[ "$(id -u)" -eq 0 ] || as_root="sudo"
$as_root apt-get update
# shellcheck disable=SC2086
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing
