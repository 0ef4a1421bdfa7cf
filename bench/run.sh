#!/bin/bash
# Builds the benchmarks, optimised, and runs them in the sandbox: one table, kept as JSON.
# usage: bench/run.sh [--smoke] [--rounds N] [--out FILE] [--disk FOLDER] [NAME...]
#   NAME       Compile Encode WholeWay Memory Sections SectionPolicy Registration Delivery; all of them by default
#   --smoke    tiny sizes, nothing is measured: whether everything builds and runs
#   --rounds   pairs of runs for each row, 5 by default
#   --out      where the JSON goes, build-bench/results.json by default
#   --disk     a folder on the disk to measure, build-bench by default
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh

readonly all=(Compile Encode WholeWay Memory Sections SectionPolicy Registration Delivery)
readonly onDisk=' Compile Sections SectionPolicy Delivery '  # where files are most of the work
readonly build=build-bench

out=$build/results.json
disk=$build
names=()
options=()
while (($# > 0)); do
    case $1 in
        --smoke) options+=("$1") ;;
        --rounds) options+=("$1" "${2:?--rounds takes a number}") && shift ;;
        --out) out=${2:?--out takes a file} && shift ;;
        --disk) disk=${2:?--disk takes a folder} && shift ;;
        -*) fail "unknown option $1; see the head of $0" ;;
        *) [[ " ${all[*]} " == *" $1 "* ]] || fail "no benchmark $1; there are: ${all[*]}" && names+=("$1") ;;
    esac
    shift
done
((${#names[@]} > 0)) || names=("${all[@]}")

needPackages "${buildPackages[@]}"
configure "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BENCH=ON -DTARN_TESTS=OFF
compile "$build" bench

state=$(mktemp -d "$(realpath "$disk")/tarn-bench.XXXXXX")
rows=$(mktemp)
trap 'rm -rf "$state" "$rows"' EXIT

load() {
    cut -d ' ' -f 1-3 /proc/loadavg
}

# measure NAME SANDBOX-OPTION...
measure() {
    local name=$1 before
    shift
    before=$(wc -l <"$rows")
    "$build/bin/tarn-sandbox" --kernel=none "$@" -- "$build/bench/${name}Bench" --json "$rows" \
        ${options[@]+"${options[@]}"}
    (($(wc -l <"$rows") > before)) || fail "${name}Bench has printed nothing"
}

loadBefore=$(load)
echo "$jobs processors, load $loadBefore, $(uname -sr)"
[[ " ${options[*]-} " != *' --smoke '* ]] || echo "Tiny sizes: the figures mean nothing."
printf '%-9s %-57s %-5s %2s %9s %9s %6s %12s %6s %-13s %-6s %5s  %s\n' point 'measured / reference' place th ms ms ratio \
    lowest-high cpu target '' MiB note
for name in "${names[@]}"; do
    measure "$name"
    if [[ $onDisk == *" $name "* ]]; then
        mkdir "$state/$name"  # no benchmark finds what another left
        measure "$name" --etc "$state/$name"
    fi
done
loadAfter=$(load)
echo "load $loadAfter"

{
    printf '{\n"date": "%s",\n"processors": %d,\n"kernel": "%s",\n"loadBefore": "%s",\n"loadAfter": "%s",\n"rows": [\n' \
        "$(date -u +%FT%TZ)" "$jobs" "$(uname -sr)" "$loadBefore" "$loadAfter"
    sed '$!s/$/,/' "$rows"
    printf ']\n}\n'
} >"$out"
echo "kept in $out"
