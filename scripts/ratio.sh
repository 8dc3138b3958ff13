#!/usr/bin/env bash
# Non-blank lines of tests (every file under tests/ and server/tests/, helpers and tables of
# cases included, the .json known-answer vectors excepted) against non-blank lines of code
# (src/, server/src/, lib/, index.js, promise.js, server/launcher.js), and the percentage.
set -euo pipefail
cd "$(dirname "$0")/.."

count() {
  find "$@" -type f ! -name '*.json' -print0 2>/dev/null | xargs -0 -r cat | grep -c -v '^[[:space:]]*$' || true
}

code_paths=()
for p in src server/src lib index.js promise.js server/launcher.js; do
  [ -e "$p" ] && code_paths+=("$p")
done
tests=$(count tests server/tests)
code=$(count "${code_paths[@]}")
echo "ratio: $tests test lines / $code code lines = $(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.1f", 100 * t / c }')%"
