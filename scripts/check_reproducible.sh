#!/usr/bin/env bash
# usage: check_reproducible.sh [x86_64|i386]
# Builds the release libraries from two folders, into two folders, under different settings, and compares them byte by
# byte.
# shellcheck disable=SC2317 # the functions are called, through stage
set -euo pipefail
cd "$(dirname "$0")/.."

word_size=${1:-x86_64}
case "$word_size" in
  i386 | x86_64) ;;
  *)
    echo "usage: ${0##*/} [x86_64|i386]" >&2
    exit 2
    ;;
esac
source scripts/stages.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
one=$work/one
two=$work/another-source/tree
two_build=$work/another/folder/for-the-build
export CCACHE_DISABLE=1

# build SOURCE BUILD LIBRARY...: the libraries are built in the order given
build() {
  local source=$1 build=$2 library
  shift 2
  mkdir -p "$source" &&
    git ls-files -co --exclude-standard -z | tar -c --null -T - --ignore-failed-read | tar -x -C "$source" || return 1
  (cd "$source" && cmake --preset "$word_size" -B "$build" -DLUM_TESTS=OFF -DLUM_TOOLS=OFF) || return 1
  for library in "$@"; do cmake --build "$build" -j1 --target "$library" || return 1; done
}

build_both() {
  local other
  (
    umask 077
    export TZ=Pacific/Auckland LC_ALL=C.UTF-8 HOME=/nonexistent USER=another
    build "$two" "$two_build" lumcore_static lumcore lumcv lumcv_static
  ) &
  other=$!
  TZ=UTC LC_ALL=C build "$one" "$one/build" lumcv_static lumcv lumcore lumcore_static || { wait $other && false; }
  wait $other
}

compare() {
  local file different=0
  for file in liblumcvt7.so.5.2 liblumcore.so.5.2 liblumcvt7.a liblumcore.a; do
    if cmp "$one/build/lib/$file" "$two_build/lib/$file"; then
      sha256sum "$one/build/lib/$file" | sed 's|  .*/|  |'
    else
      different=1
      diff <(strings -a "$one/build/lib/$file") <(strings -a "$two_build/lib/$file") | head -n 20
    fi
  done
  return $different
}

stage "build twice $word_size" build_both
if stage "compare $word_size" compare; then
  sed 's/^/  /' "$(log_of "compare $word_size")"
  echo "$word_size: the libraries do not depend on where and how they are built."
else
  echo "$word_size: two builds of the libraries differ." >&2
  exit 1
fi
