#!/usr/bin/env bash
# Builds everything and runs every test: the C++ tests of the client library and the server
# (under AddressSanitizer and UndefinedBehaviorSanitizer), the script API tests against the
# reference server, and a short fixed run of every fuzz harness. Two trees, each built once:
# the release addon and server (scripts/build.sh), and out-asan, which the C++ tests and the
# fuzz harnesses share.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/build.sh
bash scripts/sanitizer_tree.sh

jobs=$(nproc 2>/dev/null || echo 2)
(cd out-asan && ctest --output-on-failure -j "$jobs")

# The typings of both faces, by compiling a typed use of them. The packages' own install scripts
# are skipped: the tests need only the compiler, and the benchmarks build the peers they use.
[ -x node_modules/.bin/tsc ] || npm install --no-audit --no-fund --ignore-scripts
node_modules/.bin/tsc -p tests/types

# In a zone other than UTC, where a mix-up of local and UTC time cannot hide.
TZ=America/New_York node --test tests/js/*.test.js

bash scripts/fuzz.sh --runs 300
