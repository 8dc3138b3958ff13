#!/usr/bin/env bash
# Configures and builds the one sanitizer tree, out-asan: clang++ with AddressSanitizer,
# UndefinedBehaviorSanitizer and libFuzzer's coverage hooks on every object, so that the C++
# tests and the fuzz harnesses link the same client library and server objects, compiled once.
# -O1 with line tables only, as the sanitizers advise: their stack traces keep file and line,
# with far less debug information to write and link than a full -g. Arguments are build
# targets (all of them when none is given).
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B out-asan -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
  -DZV_SANITIZE=ON -DZV_FUZZ=ON -DZV_TESTS=ON >/dev/null
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build out-asan -j "$jobs" "${targets[@]}"
