# Sourced by demo.sh, test.sh and .ci/run: the packages each of them needs, and the builds. Debian 12 names.
# The caller stands in the root of the tree and has set -euo pipefail.

readonly buildPackages=(g++ cmake ninja-build pkg-config libjsoncpp-dev libfuse3-dev fuse3 libcli11-dev libgcrypt20-dev
    rapidjson-dev)
readonly demoPackages=(python3)
readonly testPackages=(libgtest-dev libgmock-dev python3 python3-jsonschema groff-base)
readonly checkPackages=(clang clang-format clang-tidy cppcheck libclang-rt-14-dev git chromium)

# Two cores are what the slowest machine of ours has; more are used where they are.
jobs=$(nproc)
readonly jobs

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

isInstalled() {
    [[ $(dpkg-query -W -f='${db:Status-Abbrev}' "$1" 2>/dev/null) == ii* ]]
}

# needPackages NAME...: installs what is missing, as root; names it, as anybody else. Does nothing when all is there.
needPackages() {
    local missing=() name
    if ! command -v dpkg-query >/dev/null; then
        echo "Not a Debian system: looking for no packages. Needed are what Debian 12 calls: $*" >&2
        return
    fi
    for name in "$@"; do
        isInstalled "$name" || missing+=("$name")
    done
    if ((${#missing[@]} == 0)); then
        return
    fi
    if ((EUID != 0)); then
        fail "these packages are missing, and only root can install them: apt-get install ${missing[*]}"
    fi
    echo "Installing ${missing[*]}"
    local log
    log=$(mktemp)
    if ! { apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
        tail -n 20 "$log" >&2
        fail "installing failed; the whole output is in $log"
    fi
    rm -f "$log"
}

# configure FOLDER OPTION...: one build folder, made with Ninja. The output is shown when it fails.
configure() {
    local folder=$1 output
    shift
    if ! output=$(cmake -S . -B "$folder" -G Ninja "$@" 2>&1); then
        echo "$output" >&2
        fail "configuring $folder failed"
    fi
}

# compile FOLDER TARGET...: a line of progress on a terminal, else only the compiler's words when it fails.
compile() {
    local folder=$1 output
    shift
    if [[ -t 1 ]]; then
        ninja -C "$folder" -j "$jobs" "$@" || fail "building in $folder failed"
        return
    fi
    if ! output=$(ninja -C "$folder" -j "$jobs" "$@" 2>&1); then
        grep -v '^\[' <<<"$output" >&2 || true
        fail "building in $folder failed"
    fi
}
