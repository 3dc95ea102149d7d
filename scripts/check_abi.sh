#!/usr/bin/env bash
# usage: check_abi.sh [--update] [x86_64|i386]
# Compares the binary interface of both word sizes, or of one, with what abi/*.abi holds: exported functions and data
# with their types, and the types and constants of the public headers. Fails on any difference; --update stores it.
# LUM_BUILDS names the folder of the builds, build if unset. These builds have debug information and are its own.
# shellcheck disable=SC2317 # the functions are called, through stage
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  echo "usage: ${0##*/} [--update] [x86_64|i386]" >&2
  exit 2
}
update=
word_sizes=()
for argument in "$@"; do
  case "$argument" in
    --update) update=yes ;;
    x86_64 | i386) word_sizes+=("$argument") ;;
    *) usage ;;
  esac
done
if ((${#word_sizes[@]} == 0)); then word_sizes=(x86_64 i386); fi
source scripts/stages.sh

builds=${LUM_BUILDS:-build}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# Without paths and lines, which change while the interface does not.
describe=(abidw --headers-dir include --drop-private-types --drop-undefined-syms --no-comp-dir-path --no-corpus-path
  --no-show-locs --type-id-style hash)

build() {
  local CXXFLAGS=-ffile-prefix-map=$PWD/=
  export CXXFLAGS
  cmake --preset "$1" -B "$builds/abi-$1" -DCMAKE_BUILD_TYPE=Debug -DLUM_TESTS=OFF -DLUM_TOOLS=OFF &&
    cmake --build "$builds/abi-$1" --target lumcv lumcore
}

# The types and constants that no exported function names are in no library: a library of nothing else has them. (It
# must have something of its own.)
describe_headers() {
  local word=-m64
  if [ "$1" = i386 ]; then word=-m32; fi
  printf '#include "%s"\n' lumcv.h lumcore.h >"$work/headers.c" && echo 'int something;' >>"$work/headers.c" &&
    gcc "$word" -std=c99 -g -fno-eliminate-unused-debug-types -ffile-prefix-map="$work/=" -fPIC -shared -Iinclude \
      "$work/headers.c" -o "$work/headers.so" &&
    "${describe[@]}" --load-all-types --no-elf-needed --out-file "$work/headers.$1.abi" "$work/headers.so"
}

describe_all() {
  local library
  for library in liblumcvt7 liblumcore; do
    "${describe[@]}" --exported-interfaces-only --out-file "$work/$library.$1.abi" \
      "$builds/abi-$1/lib/$library.so.5.2" || return 1
  done
  describe_headers "$1"
}

# Changes that abidiff takes for harmless (const, names of types) count as well.
compare() {
  local file options different=0
  for file in liblumcvt7 liblumcore headers; do
    options=(--harmless --no-show-locs)
    if [ "$file" = headers ]; then options+=(--non-reachable-types); fi
    echo "$file:"
    abidiff "${options[@]}" "abi/$file.$1.abi" "$work/$file.$1.abi" || different=1
  done
  return "$different"
}

for word_size in "${word_sizes[@]}"; do
  stage "build for ABI $word_size" build "$word_size"
  stage "read ABI $word_size" describe_all "$word_size"
  if [ -n "$update" ]; then
    cp "$work"/*."$word_size".abi abi/
  else
    stage "compare ABI $word_size" compare "$word_size" || failed=1
  fi
done

if [ -n "$update" ]; then
  echo "Stored in abi/. Look at the differences before they are committed."
elif ((failed)); then
  echo "The binary interface has changed. If that is meant: ${0##*/} --update" >&2
else
  echo "The binary interface is the stored one."
fi
exit $failed
