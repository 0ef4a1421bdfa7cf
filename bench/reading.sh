#!/bin/bash
# How fast tarn-policy reads, and in how much memory: each verb over compiled sets of about 1 GB, as a ratio to cat of the
# same bytes to /dev/null. Times are the best of some runs, memory is the most of any. Builds build-bench, optimised. Ends
# with 1 where a verb takes more memory than it may, or verify reads plain records slower than 1 GB in a second of the
# processors.
# usage: bench/reading.sh [MEGABYTES] [RUNS]        1000 and 3 by default
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/setup.sh
readonly build=build-bench megabytes=${1:-1000} runs=${2:-3}

needPackages "${buildPackages[@]}" python3
configure "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BENCH=ON -DTARN_TESTS=OFF
compile "$build" bench-reading

folder=$(mktemp -d "$PWD/$build/reading.XXXXXX")
trap 'rm -rf "$folder"' EXIT

# table FOLDER [CHANGED]: a row for each verb, and one for the difference to a set in which every record was changed.
table() {
    TMPDIR=$folder python3 - "$PWD/$build/bin/tarn-policy" "$runs" "${@/%//.policydata}" <<'PYTHON'
import os, subprocess, sys, time
tool, runs, path, changed = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4:]
size = sum(entry.stat().st_size for entry in os.scandir(path))

def measure(words, expected=0):
    """Seconds of all cores, seconds by the clock, MiB."""
    results = []
    for _ in range(runs):
        begin = time.monotonic()
        child = subprocess.Popen(words, stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode != expected:
            sys.exit(f"reading.sh: {' '.join(words)} ends with {child.returncode}")
        results.append((usage.ru_utime + usage.ru_stime, time.monotonic() - begin, usage.ru_maxrss / 1024))
    return min(one[0] for one in results), min(one[1] for one in results), max(one[2] for one in results)

cat = measure(["bash", "-c", f"cat '{path}'/*"])
print(f"{size} bytes; cat {cat[0]:.3f} s of the processors, {cat[1]:.3f} s by the clock")
missed = 0

def verdict(is_met):
    return "met" if is_met else "MISSED"

def row(words, paths, bound, *, title="", expected=0, least_rate=0):
    """MiB at most; GB at least that are read in a second of the processors."""
    cpu, clock, peak = measure([tool, *words.split(), *paths], expected)
    global missed
    missed += peak > bound  # memory counts for the exit status; speed is only told
    sets = len(paths)
    rate = size * sets / cpu / 1e9
    print(f"  {title or words:30} {cpu:8.3f} s of the processors, {clock:8.3f} s by the clock, {cpu / cat[0] / sets:6.1f} "
          f"and {clock / cat[1] / sets:6.1f} times cat, {size * sets / clock / 1e9:5.2f} GB/s, {peak:4.0f} MiB, at most "
          f"{bound} {verdict(peak <= bound)}"
          + (f", {rate:.2f} GB/s of the processors, at least {least_rate} {verdict(rate >= least_rate)}" if least_rate
             else ""))

row("verify --copy --no-duplicates", [path], 64, least_rate=1 if changed else 0)
row("verify --copy", [path], 512)
row("inspect --json", [path], 64)
row("stat", [path], 64)
row("query --subject 0x0:0x0:0x1", [path], 64)
row("digest", [path], 192)
row("diff", [path, path], 384)
for other in changed:
    row("diff", [path, other], 384, title="diff, every record changed", expected=1)
sys.exit(1 if missed else 0)
PYTHON
}

# make KIND: a set of this kind in a folder of its name.
make() {
    mkdir "$folder/$1"
    "$build/bin/tarn-sandbox" --kernel=none --etc "$folder/$1" -- "$build/bench/ReadingSetBench" "$1" "$megabytes"
}

load() {
    cut -d ' ' -f 1-3 /proc/loadavg
}

echo "$jobs processors, load $(load), $(uname -sr)"
status=0
printf 'plain: %s, ' "$(make plain)"
make changed >/dev/null
table "$folder/plain" "$folder/changed" || status=1
rm -rf "$folder/plain" "$folder/changed"
printf 'conditions: %s, ' "$(make conditions)"
table "$folder/conditions" || status=1
echo "load $(load)"
exit "$status"
