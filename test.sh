#!/bin/bash
# Builds everything and runs all tests. As root it first installs the Debian packages that are missing.
# usage: ./test.sh [CTEST-OPTION...]      for instance ./test.sh -R Buffers
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/setup.sh

needPackages "${buildPackages[@]}" "${testPackages[@]}"
echo "Building in build/"
configure build -DCMAKE_BUILD_TYPE=Release -DTARN_TESTS=ON
compile build
exec ctest --test-dir build -j "$jobs" --output-on-failure --no-tests=error "$@"
