#!/usr/bin/env bash
# Makes sure the machine has what the build needs: a C++ toolchain, CMake, GoogleTest,
# Google Benchmark, the headers of SQLite, libcrypto and nlohmann-json, and for the fuzz
# harnesses clang++ with its libFuzzer runtime. They come preinstalled on our machines;
# anything missing is installed from Debian's packages.
set -euo pipefail

missing=()
command -v g++ >/dev/null || missing+=(g++)
command -v make >/dev/null || missing+=(make)
command -v cmake >/dev/null || missing+=(cmake)
[ -f /usr/include/sqlite3.h ] || missing+=(libsqlite3-dev)
[ -f /usr/include/openssl/bn.h ] || missing+=(libssl-dev)
[ -f /usr/include/nlohmann/json.hpp ] || missing+=(nlohmann-json3-dev)
[ -d /usr/include/gtest ] || missing+=(libgtest-dev)
[ -f /usr/include/benchmark/benchmark.h ] || missing+=(libbenchmark-dev)
[ -f /usr/include/node/node.h ] || missing+=(nodejs)
command -v clang++ >/dev/null || missing+=(clang)
# libFuzzer's runtime for Debian's clang 14, in the runtime folder that clang++ links from.
fuzzer_runtime="$(clang++ -print-runtime-dir 2>/dev/null || true)/libclang_rt.fuzzer-x86_64.a"
[ -f "$fuzzer_runtime" ] || missing+=(libclang-rt-14-dev)

if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    echo "please install as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi
