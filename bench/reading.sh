#!/bin/bash
# How fast tarn-policy reads, and in how much memory: each verb over compiled sets of about 1 GB, as a ratio to cat of the
# same bytes to /dev/null. Times are the best of some runs, memory is the most of any. Builds build-bench, optimised.
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

# table FOLDER: a row for each verb.
table() {
    TMPDIR=$folder python3 - "$PWD/$build/bin/tarn-policy" "$1/.policydata" "$runs" <<'PYTHON'
import os, subprocess, sys, time
tool, path, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
size = sum(entry.stat().st_size for entry in os.scandir(path))

def measure(words):
    """Seconds of all cores, seconds by the clock, MiB."""
    results = []
    for _ in range(runs):
        begin = time.monotonic()
        child = subprocess.Popen(words, stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode != 0:
            sys.exit(f"reading.sh: {' '.join(words)} ends with {child.returncode}")
        results.append((usage.ru_utime + usage.ru_stime, time.monotonic() - begin, usage.ru_maxrss / 1024))
    return min(one[0] for one in results), min(one[1] for one in results), max(one[2] for one in results)

cat = measure(["bash", "-c", f"cat '{path}'/*"])
print(f"{size} bytes; cat {cat[0]:.3f} s of the processors, {cat[1]:.3f} s by the clock")
missed = 0
# Words, how often the bytes are in the sets that are named, MiB at most.
for words, sets, bound in (("verify --copy --no-duplicates", 1, 64), ("verify --copy", 1, 512), ("inspect --json", 1, 64),
                           ("stat", 1, 64), ("digest", 1, 192), ("diff", 2, 384)):
    cpu, clock, peak = measure([tool, *words.split(), *[path] * sets])
    missed += peak > bound
    print(f"  {words:30} {cpu:8.3f} s of the processors, {clock:8.3f} s by the clock, {cpu / cat[0] / sets:6.1f} and "
          f"{clock / cat[1] / sets:6.1f} times cat, {size * sets / clock / 1e9:5.2f} GB/s, {peak:4.0f} MiB, at most "
          f"{bound} {'MISSED' if peak > bound else 'met'}")
sys.exit(1 if missed else 0)
PYTHON
}

load() {
    cut -d ' ' -f 1-3 /proc/loadavg
}

echo "$jobs processors, load $(load), $(uname -sr)"
status=0
for kind in plain conditions; do
    mkdir "$folder/$kind"
    made=$("$build/bin/tarn-sandbox" --kernel=none --etc "$folder/$kind" -- "$build/bench/ReadingSetBench" "$kind" \
        "$megabytes")
    printf '%s: %s, ' "$kind" "$made"
    table "$folder/$kind" || status=1
    rm -rf "${folder:?}/$kind"
done
echo "load $(load)"
exit "$status"
