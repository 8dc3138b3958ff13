#!/usr/bin/env bash
# Builds everything and runs every test: the C++ tests of the client library and the server
# (under AddressSanitizer and UndefinedBehaviorSanitizer), the script API tests against the
# reference server, and a short fixed run of every fuzz harness. Two trees, each built once:
# the release addon and server (scripts/build.sh), and out-asan, which the C++ tests and the
# fuzz harnesses share.
#
# The script tests and the typings' check (with the install of its compiler, which mostly
# waits on the network) run while out-asan compiles; their output is printed when they are done.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/build.sh

work=$(mktemp -d)
# A step that fails stops the run; what still runs in the background stops with it.
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

# The typings of both faces, by compiling a typed use of them, after installing the compiler.
# The packages' own install scripts are skipped: the typings need only the compiler, and the
# benchmarks build the peers they use.
{
  [ -x node_modules/.bin/tsc ] || npm install --no-audit --no-fund --ignore-scripts
  node_modules/.bin/tsc -p tests/types
} >"$work/types.log" 2>&1 & types=$!

# In a zone other than UTC, where a mix-up of local and UTC time cannot hide. Two files at a
# time: each starts its own server, and most of their time is spent waiting on it.
TZ=America/New_York node --test --test-concurrency=2 tests/js/*.test.js >"$work/js.log" 2>&1 & js=$!

bash scripts/sanitizer_tree.sh

# Each C++ test binary runs whole, in two shards at once: a process per test, as ctest runs
# them, would start the sanitizers' runtime some two hundred times. `ctest` in out-asan still
# runs them one by one.
cpp_failed=0
pids=()
logs=()
for bin in out-asan/client_tests out-asan/server/server_tests; do
  for shard in 0 1; do
    log="$work/$(basename "$bin").$shard.log"
    GTEST_TOTAL_SHARDS=2 GTEST_SHARD_INDEX=$shard "$bin" --gtest_brief=1 >"$log" 2>&1 & pids+=($!)
    logs+=("$log")
  done
done
for i in "${!pids[@]}"; do
  if wait "${pids[$i]}"; then
    echo "$(basename "${logs[$i]}" .log): $(grep -m1 '^\[  PASSED  \]' "${logs[$i]}")"
  else
    echo "$(basename "${logs[$i]}" .log): FAILED"
    cat "${logs[$i]}"
    cpp_failed=1
  fi
done

if ! wait $types; then
  cat "$work/types.log"
  exit 1
fi

fuzz_failed=0
bash scripts/fuzz.sh --runs 300 || fuzz_failed=1

js_failed=0
wait $js || js_failed=1
cat "$work/js.log"

exit $((cpp_failed | fuzz_failed | js_failed))
