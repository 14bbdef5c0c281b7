#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs what building and testing need on Debian 12, and does nothing when it is all there.
set -eu

packages="g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libcurl4-openssl-dev
          libgtest-dev libbenchmark-dev"

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
DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y --no-install-recommends $missing
