#!/bin/bash
# How fast tarn-policy reads: verify and inspect --json over a set of about 1 GB, as a ratio to cat of the same bytes to
# /dev/null. Every figure is the best of three runs, in seconds of one core (user and system time) and of the clock.
# usage: bench/reading.sh [BUILD-FOLDER] [MEGABYTES]        a Release build; python3 makes the set
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly tool=$PWD/${1:-build}/bin/tarn-policy megabytes=${2:-1000}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Plain records, 10,000 a message, or records of about 300 bytes with a condition and an action.
makeSet() {
    python3 - "$folder/$1" "$1" "$megabytes" <<'PYTHON'
import os, struct, sys
folder, kind, megabytes = sys.argv[1], sys.argv[2], int(sys.argv[3])
os.makedirs(folder)

def write(name, count, size, type, body=b""):
    length = 20 + len(body) + (4 if size else 0)
    with open(os.path.join(folder, name), "wb") as file:
        file.write(struct.pack("<5I", 1, length, size, count, type) + body + (b"\xff\xff\x34\x12" if size else b""))

def node(type, value=0, function=0, params=b"", count=0, name=b""):
    return struct.pack("<5I", type, value, function, count, len(name)) + name + params

net = 4075427327
block = struct.pack("<7I", 0x5A5AA5A5, net, 3, 1, 0, 0, 0) + b"net" + struct.pack("<2I", 1, 12) + b"netmod:check"
text = b"/srv/some/where/else"
params = struct.pack("<IIq", 2, 0, 7) + struct.pack("<II", 3, len(text)) + text
condition = [node(2), node(4, 0, 1, params, 2), node(1), node(12, 1, name=b"net:usb_block")]
action = node(4, 0, 1, params, 2)
tail = b"" if kind == "plain" else b"".join(condition) + action
counts = (0, 0) if kind == "plain" else (len(condition), 1)
perMessage = 10000 if kind == "plain" else 1048552 // (100 + len(tail))
write("beginmsg", 0, 0, 1)
write("namemsg", 1, 24, 4, block)
written = number = index = 0
while written < megabytes * 1000000:
    body = b"".join(
        struct.pack("<3I6Q10I", 0x5A5AA5A5, 1, 0, number + i, 1, 2, (number + i) * 7, 3, 4, 0, 1, 2, 0, net, 0, 0, 0,
                    *counts) + tail for i in range(perMessage))
    write("base_0_net_g_%d" % index if kind == "plain" else "base_%d_net_g_0" % index, perMessage, 96, 3, body)
    number, index, written = number + perMessage, index + 1, written + len(body)
write("endmsg", 0, 0, 2)
PYTHON
}

# measure WORDS...: best of three, "CPU-SECONDS CLOCK-SECONDS".
measure() {
    local run best=
    local TIMEFORMAT='%U %S %R'
    for run in 1 2 3; do
        local times
        times=$({ time "$@" >/dev/null; } 2>&1 | awk '{ printf "%.3f %.3f", $1 + $2, $3 }')
        best=$(printf '%s\n%s\n' "$best" "$times" | awk 'NF' | sort -n | head -1)
    done
    echo "$best"
}

for kind in plain conditions; do
    makeSet "$kind"
    bytes=$(cat "$folder/$kind"/* | wc -c)
    read -r catCpu catClock <<<"$(measure bash -c "cat '$folder/$kind'/*")"
    echo "$kind: $bytes bytes; cat $catCpu s of one core, $catClock s"
    for words in "verify --copy --no-duplicates" "verify --copy" "inspect --json"; do
        # shellcheck disable=SC2086
        read -r cpu clock <<<"$(measure "$tool" $words "$folder/$kind")"
        awk -v words="$words" -v cpu="$cpu" -v clock="$clock" -v cat="$catCpu" -v bytes="$bytes" \
            'BEGIN { printf "  %-30s %7.3f s of one core, %7.3f s, %6.1f times cat, %6.2f GB/s\n", words, cpu, clock,
                     cpu / cat, bytes / cpu / 1e9 }'
    done
    rm -rf "${folder:?}/$kind"
done
