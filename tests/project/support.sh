# Sourced by the scripts of this folder, which ctest starts with SOURCE, BUILD, PREFIX, LIBDIR and CXX in the environment.
set -euo pipefail

export PKG_CONFIG_PATH=$LIBDIR/pkgconfig
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

skip() {
    echo "SKIPPED: $*" >&2
    exit 77
}

# buildWithPkgConfig COMPILER SOURCE PROGRAM: as a host's own makefile would, warnings being errors.
buildWithPkgConfig() {
    local flags
    read -ra flags <<<"$(pkg-config --cflags --libs tarnpolicysync)"
    "$1" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$2" -o "$3" "${flags[@]}" "-Wl,-rpath,$LIBDIR"
}
