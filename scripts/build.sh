#!/usr/bin/env bash
# Builds the addon (node-gyp) and, with CMake, the reference server.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

jobs=$(nproc 2>/dev/null || echo 2)

# Configured every time: the source list is taken from the tree when configuring.
node-gyp configure >/dev/null
node-gyp build -j "$jobs"

cmake -S . -B out -DCMAKE_BUILD_TYPE=Release -DZV_TESTS=OFF >/dev/null
cmake --build out -j "$jobs" --target zanvo-server
