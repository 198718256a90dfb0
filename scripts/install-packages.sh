#!/bin/sh
# Installs the Debian packages that building and testing need, and only those that are missing.
# Says what it installs; does nothing when all is there. Written for Debian 12.
set -eu

packages='
    build-essential
    clang-format
    cmake
    g++-mingw-w64-x86-64-posix
    googletest
    libgmp-dev
    libsqlite3-dev
    ninja-build
    wine64
'

missing=
for package in $packages; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    if [ "$status" != installed ]; then
        missing="$missing $package"
    fi
done
if [ -z "$missing" ]; then
    exit 0
fi

as_root=
if [ "$(id -u)" -ne 0 ]; then
    as_root=sudo
fi
echo "Installing with apt-get:$missing"
# $as_root and $missing are lists of words.
$as_root apt-get update
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install --yes --no-install-recommends $missing
