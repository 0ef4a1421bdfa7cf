#!/bin/bash
# Builds the library and its tools, then compiles a realistic policy and delivers it to a simulated kernel, inside the
# sandbox. As root it first installs the Debian packages that are missing; else it writes only the folder build/ and,
# where the sandbox has to make do with chroot, a copy under /tmp for the time of the run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/setup.sh

needPackages "${buildPackages[@]}" "${demoPackages[@]}"
echo "Building in build/ (the first time takes some minutes)"
options=()
[[ -f build/CMakeCache.txt ]] || options=(-DTARN_TESTS=OFF)
configure build -DCMAKE_BUILD_TYPE=Release "${options[@]}"
compile build tarn-policy tarn-kernel-sim tarn-sandbox show-records

readonly demo=build/demo
rm -rf "$demo"
mkdir -p "$demo/etc/tarn-main"
cp examples/class-def.conf "$demo/etc/tarn-main/"
cp examples/labels.json "$demo/etc/"

# The kernel module provides an entry for each dynamic variable; the simulator is told which.
variables=$(python3 -c '
import json, sys
for namespace, variables in json.load(open(sys.argv[1]))["variables"].items():
    for name in variables:
        print(namespace + "/" + name)' examples/policy.json)
paras=()
for variable in $variables; do
    paras+=(--para "$variable")
done

title() {
    printf '\n== %s\n' "$1"
}

title "tarn-policy apply examples/policy.json, in the sandbox"
build/bin/tarn-sandbox --etc "$demo/etc" --transcript "$PWD/$demo/transcript" "${paras[@]}" \
    --bring examples -- build/bin/tarn-policy apply examples/policy.json

title "What was compiled: $demo/etc/policydata"
(cd "$demo/etc/policydata" && find . -type f -printf '%7s bytes  %P\n' | LC_ALL=C sort -k 3)

title "What the kernel was told: $demo/transcript"
cat "$demo/transcript"

title "One record, read back"
build/bin/show-records "$demo/etc/policydata" 1

cat <<'END'

== Where to go on
  examples/policy.json        the policy: change it, and run ./demo.sh again
  docs/policy-format.md       what a policy document may hold
  docs/tarn-policy.md         the command-line host; docs/sandbox.md: the sandbox, refusals on command
  examples/minimal-host/      the smallest host in C++; docs/host-guide.md: what to mind in your own
  docs/messages.md            the messages, byte by byte
  ./test.sh                   builds and runs all tests
END
