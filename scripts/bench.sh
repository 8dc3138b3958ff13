#!/usr/bin/env bash
# The quick benchmark behind "npm run bench": seconds, not minutes, and ratios to hold each
# later change against. Needs the addon and server built (npm run build); the round-trip
# ratio also needs the C++ benchmarks (the README's Benchmarks section) and is skipped without.
set -euo pipefail
cd "$(dirname "$0")/.."

node bench/compare.js --quick

echo
roundtrip=out-bench/bench/roundtrip_bench
if [ ! -x "$roundtrip" ]; then
  echo "ZVC_ExecNoQuery / raw ping-pong: not measured ($roundtrip is not built)"
  exit 0
fi
# Three runs, each measuring both in turn; the median of their ratios.
for _ in 1 2 3; do
  "$roundtrip" --benchmark_min_time=0.3 --benchmark_format=csv 2>/dev/null |
    awk -F, '/BM_LoopbackPingPong/ { ping = $3 } /BM_ExecNoQuery/ { exec = $3 }
             END { if (ping > 0) printf "%.3f %.1f %.1f\n", exec / ping, exec / 1000, ping / 1000 }'
done | sort -n | sed -n 2p |
  awk '{ printf "ZVC_ExecNoQuery / raw ping-pong, same run: %.2f (%s us / %s us, median of 3)\n", $1, $2, $3 }'
