#!/usr/bin/env bash
# The quick benchmark behind "npm run bench": seconds, not minutes, and ratios to hold each
# later change against. Builds what it measures first: the addon and the server, the peers'
# npm packages, and the round-trip benchmark.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/build.sh
[ -d node_modules/better-sqlite3 ] && [ -d node_modules/pg ] || npm install --no-audit --no-fund --ignore-scripts >/dev/null
# npm test installs the packages without their install scripts; better-sqlite3's builds its addon.
[ -f node_modules/better-sqlite3/build/Release/better_sqlite3.node ] || npm rebuild better-sqlite3 >/dev/null
cmake -S . -B out-bench -DCMAKE_BUILD_TYPE=Release -DZV_BENCH=ON -DZV_TESTS=OFF >/dev/null
cmake --build out-bench -j "$(nproc 2>/dev/null || echo 2)" --target roundtrip_bench >/dev/null

node bench/compare.js --quick

echo
roundtrip=out-bench/bench/roundtrip_bench
# Three runs, each measuring both in turn; the median of their ratios.
for _ in 1 2 3; do
  "$roundtrip" --benchmark_min_time=0.3 --benchmark_format=csv 2>/dev/null |
    awk -F, '/BM_LoopbackPingPong/ { ping = $3 } /BM_ExecNoQuery/ { exec = $3 }
             END { if (ping > 0) printf "%.3f %.1f %.1f\n", exec / ping, exec / 1000, ping / 1000 }'
done | sort -n | sed -n 2p |
  awk '{ printf "ZVC_ExecNoQuery / raw ping-pong, same run: %.2f (%s us / %s us, median of 3)\n", $1, $2, $3 }'
