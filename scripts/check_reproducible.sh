#!/usr/bin/env bash
# usage: check_reproducible.sh [x86_64|i386]
# Builds the release libraries here, where what is built already stays, and once more from another folder, into another
# folder, in another order and under other settings, and compares them byte by byte.
# LUM_BUILDS names the folder of the builds here, build if unset.
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
here=${LUM_BUILDS:-build}/$word_size
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source=$work/another-source/tree
there=$work/another/folder/for-the-build
export CCACHE_DISABLE=1

build_here() {
  cmake --preset "$word_size" -B "$here" && cmake --build "$here" --target lumcv lumcv_static lumcore lumcore_static
}

build_there() (
  local library
  umask 077
  export TZ=Pacific/Auckland LC_ALL=C.UTF-8 HOME=/nonexistent USER=another
  mkdir -p "$source" &&
    git ls-files -co --exclude-standard -z | tar -c --null -T - --ignore-failed-read | tar -x -C "$source" || return 1
  (cd "$source" && cmake --preset "$word_size" -B "$there" -DLUM_TESTS=OFF -DLUM_TOOLS=OFF) || return 1
  for library in lumcore_static lumcore lumcv_static lumcv; do
    cmake --build "$there" --target "$library" || return 1
  done
)

compare() {
  local file different=0
  for file in liblumcvt7.so.5.2 liblumcore.so.5.2 liblumcvt7.a liblumcore.a; do
    if cmp "$here/lib/$file" "$there/lib/$file"; then
      sha256sum "$here/lib/$file" | sed 's|  .*/|  |'
    else
      different=1
      diff <(strings -a "$here/lib/$file") <(strings -a "$there/lib/$file") | head -n 20
    fi
  done
  return $different
}

stage "build $word_size" build_here
stage "build $word_size elsewhere" build_there
if stage "compare $word_size" compare; then
  sed 's/^/  /' "$(log_of "compare $word_size")"
  echo "$word_size: the libraries do not depend on where and how they are built."
else
  echo "$word_size: two builds of the libraries differ." >&2
  exit 1
fi
