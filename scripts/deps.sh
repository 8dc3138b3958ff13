#!/usr/bin/env bash
# Makes sure the machine has what the build needs: a C++ toolchain, CMake, GoogleTest,
# Google Benchmark and SQLite's headers. They come preinstalled on our machines; anything
# missing is installed from Debian's packages.
set -euo pipefail

missing=()
command -v g++ >/dev/null || missing+=(g++)
command -v make >/dev/null || missing+=(make)
command -v cmake >/dev/null || missing+=(cmake)
[ -f /usr/include/sqlite3.h ] || missing+=(libsqlite3-dev)
[ -d /usr/include/gtest ] || missing+=(libgtest-dev)
[ -f /usr/include/benchmark/benchmark.h ] || missing+=(libbenchmark-dev)
[ -f /usr/include/node/node.h ] || missing+=(nodejs)

if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    echo "please install as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi
