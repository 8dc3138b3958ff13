#!/bin/sh
# Prints the addon's sources for binding.gyp: unity sources in build/unity/, each including a
# share of src/, so that the script engine's headers are parsed a few times instead of once a
# file. The binding's files go in two halves, one for each core; the client library's in a
# third. A unity source is written only when its list changed, so that a configure alone
# rebuilds nothing. Run from the package's folder, as node-gyp runs it.
set -e
out=build/unity
mkdir -p "$out"

# unity NAME FILE...: writes $out/NAME, which includes each FILE, and prints its path.
unity() {
  name=$1
  shift
  for f in "$@"; do echo "#include \"../../$f\""; done >"$out/$name.new"
  if cmp -s "$out/$name.new" "$out/$name"; then rm "$out/$name.new"; else mv "$out/$name.new" "$out/$name"; fi
  echo "$out/$name"
}

set -- src/zanvodbjs.cc src/binding/*.cc
half=$((($# + 1) / 2))
unity binding_1.cc $(printf '%s\n' "$@" | head -n "$half")
unity binding_2.cc $(printf '%s\n' "$@" | tail -n +"$((half + 1))")
unity client.cc src/client/*/*.cc
