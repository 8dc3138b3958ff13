#!/usr/bin/env bash
# Builds the libFuzzer harnesses (the client's in fuzz/, the server's in server/fuzz/) in the
# sanitizer tree out-asan and runs each for N seconds (the first argument, default 5), or with
# --runs N for N inputs in all (npm test's short run), starting from a copy of its
# seed corpus, so that the repository's corpus is never written to. Prints each harness's
# executions; exits non-zero when any harness found a crash, a leak, a hang or a broken
# promise. The inputs that did are kept in out-asan/artifacts/. The harnesses run as many at a
# time as there are cores.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

if [ "${1:-}" = "--runs" ]; then
  limit=(-runs="${2:?--runs needs a count}")
else
  limit=(-max_total_time="${1:-5}")
fi
harnesses=$(find fuzz server/fuzz -maxdepth 1 -name 'fuzz_*.cc' -printf '%f\n' | sed 's/\.cc$//' | sort)
# shellcheck disable=SC2086
bash scripts/sanitizer_tree.sh $harnesses >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p out-asan/artifacts

# A harness's seeds: fuzz/corpus/<name without fuzz_>, or for the server's harnesses
# server/fuzz/corpus/<name without fuzz_server_>.
seed_dir() {
  case $1 in
    fuzz_server_*) echo "server/fuzz/corpus/${1#fuzz_server_}" ;;
    *) echo "fuzz/corpus/${1#fuzz_}" ;;
  esac
}

# Undefined behaviour stops the run like a crash does.
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1

# One harness's run, from a copy of its seeds; its log and exit status go to $work.
run_harness() {
  local name=$1 harness corpus seeds rc=0
  harness=$(find out-asan -type f -perm -u+x -name "$name" -not -path '*/CMakeFiles/*')
  corpus="$work/$name"
  mkdir -p "$corpus"
  seeds=$(seed_dir "$name")
  if [ -d "$seeds" ]; then cp -r "$seeds/." "$corpus/"; else echo "$name: no seeds in $seeds" >"$work/$name.note"; fi
  # -close_fd_mask=1: the readers' lines on standard output would only slow the run.
  "$harness" "$corpus" "${limit[@]}" -rss_limit_mb=2048 -timeout=10 -close_fd_mask=1 \
    -print_final_stats=1 -artifact_prefix="out-asan/artifacts/$name-" >"$work/$name.log" 2>&1 || rc=$?
  echo $rc >"$work/$name.status"
}

# As many harnesses at once as there are cores; each is one process.
cores=$(nproc 2>/dev/null || echo 2)
for name in $harnesses; do
  while [ "$(jobs -rp | wc -l)" -ge "$cores" ]; do wait -n || true; done
  run_harness "$name" &
done
wait

failed=0
for name in $harnesses; do
  [ -f "$work/$name.note" ] && cat "$work/$name.note"
  log="$work/$name.log"
  if [ "$(cat "$work/$name.status" 2>/dev/null)" = 0 ]; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    echo "$name: ${runs:-?} executions"
  else
    echo "$name: FAILED"
    tail -n 60 "$log"
    failed=1
  fi
done
exit $failed
