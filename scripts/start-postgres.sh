#!/usr/bin/env bash
# A private PostgreSQL for the side-by-side benchmark, in a temporary folder, on loopback.
#   scripts/start-postgres.sh start   prints "PORT FOLDER" once the server takes connections
#   scripts/start-postgres.sh stop FOLDER   stops that server and removes its folder
# The server is Debian's postgresql; when it is missing, root installs it quietly. Without it,
# "start" prints nothing and exits 3, and the benchmark marks PostgreSQL absent.
# Durability is off (fsync, synchronous_commit), as for the other two, which write to memory.
set -uo pipefail

find_bin() {
  local name=$1
  command -v "$name" 2>/dev/null && return
  ls /usr/lib/postgresql/*/bin/"$name" 2>/dev/null | sort -V | tail -1
}

# The server refuses to run as root: root runs it as the postgres user.
as_owner() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}

start() {
  local initdb pg_ctl
  initdb=$(find_bin initdb)
  if [ -z "$initdb" ] && [ "$(id -u)" -eq 0 ] && command -v apt-get >/dev/null; then
    apt-get update -qq >/dev/null 2>&1
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq postgresql >/dev/null 2>&1
    initdb=$(find_bin initdb)
  fi
  pg_ctl=$(find_bin pg_ctl)
  [ -n "$initdb" ] && [ -n "$pg_ctl" ] || exit 3
  [ "$(id -u)" -ne 0 ] || id postgres >/dev/null 2>&1 || exit 3

  local dir
  dir=$(mktemp -d "${TMPDIR:-/tmp}/zanvodb-pg-XXXXXX") || exit 3
  [ "$(id -u)" -ne 0 ] || chown postgres "$dir"
  if ! as_owner "$initdb" -D "$dir/data" -U postgres -A trust -E UTF8 --no-sync >"$dir/initdb.log" 2>&1; then
    rm -rf "$dir"
    exit 3
  fi
  # A free port is not known before the server binds one: a few random ones are tried.
  for _ in 1 2 3 4 5 6 7 8; do
    local port=$((20000 + RANDOM % 40000))
    if as_owner "$pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 30 \
        -o "-p $port -k $dir -c listen_addresses=127.0.0.1 -c fsync=off -c synchronous_commit=off -c full_page_writes=off" \
        start >/dev/null 2>&1; then
      echo "$port $dir"
      return
    fi
  done
  rm -rf "$dir"
  exit 3
}

stop() {
  local dir=${1:?folder}
  case "$dir" in */zanvodb-pg-*) ;; *) exit 2 ;; esac
  as_owner "$(find_bin pg_ctl)" -D "$dir/data" -m fast -w stop >/dev/null 2>&1
  rm -rf "$dir"
}

case "${1:-}" in
  start) start ;;
  stop) stop "${2:-}" ;;
  *) echo "usage: $0 start | stop FOLDER" >&2; exit 2 ;;
esac
