#!/usr/bin/env bash
# Configures and builds the one sanitizer tree, out-asan: clang++ with AddressSanitizer,
# UndefinedBehaviorSanitizer and libFuzzer's coverage hooks on every object, so that the C++
# tests and the fuzz harnesses link the same client library and server objects, compiled once.
# -O1 with line tables only: the sanitizers' stack traces keep their lines, while the tests of
# large values and the fuzz harnesses run far faster than at -O0. Arguments are build targets
# (all of them when none is given).
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B out-asan -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
  -DZV_SANITIZE=ON -DZV_FUZZ=ON -DZV_TESTS=ON >/dev/null
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build out-asan -j "$jobs" "${targets[@]}"
