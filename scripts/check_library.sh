#!/usr/bin/env bash
# usage: check_library.sh BUILD_FOLDER
# What the two shared libraries of a build promise to the loader and to old programs.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
failed=0
fail() {
  echo "$build: $*" >&2
  failed=1
}

# check LIBRARY "NEEDED..." "WRITABLE..."
check() {
  local name=$1 needed=$2 writable=$3 file=$build/lib/$1.so.5.2 dynamic other
  dynamic=$(readelf -dW "$file")
  diff <(nm -D --defined-only "$file" | awk '{print $3}' | LC_ALL=C sort) <(LC_ALL=C sort "abi/$name.exports") >&2 ||
    fail "$name: exported names differ from abi/$name.exports (left: the library)"
  grep -q "SONAME.*\[$name.so.5.2\]" <<<"$dynamic" || fail "$name: wrong soname"
  while read -r other; do
    [[ " $needed " == *" $other "* ]] || fail "$name: needs $other"
  done < <(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
  # shellcheck disable=SC2016
  grep -qE 'RUNPATH.*\[\$ORIGIN\]' <<<"$dynamic" || fail "$name: does not look beside itself"
  grep -q 'BIND_NOW\|FLAGS.*NOW' <<<"$dynamic" || fail "$name: lazy binding"
  grep -q 'TEXTREL\|SYMBOLIC' <<<"$dynamic" && fail "$name: text relocations or symbolic binding"
  readelf -lW "$file" | grep -q GNU_RELRO || fail "$name: no RELRO"
  readelf -lW "$file" | grep -q 'GNU_STACK.* RW ' || fail "$name: executable stack"
  readelf -sW --dyn-syms "$file" | grep -q 'OBJECT.*PROTECTED' && fail "$name: protected data"
  # Writable objects, the tool chain's own left out.
  while read -r other; do
    [[ " $writable completed.0 __dso_handle __TMC_END__ " == *" $other "* ]] || fail "$name: writable state: $other"
  done < <(objdump -t "$file" | awk '$4 ~ /^\.(data|bss|tdata|tbss)$/ || $3 ~ /^\.(data|bss|tdata|tbss)$/ { print $NF }' |
    grep -v '^\.')
}

base="libc.so.6 libm.so.6 ld-linux.so.2 ld-linux-x86-64.so.2"
check liblumcvt7 "liblumcore.so.5.2 libgomp.so.1 $base" "i_malloc i_calloc i_realloc i_free i_version i_min_version"
# The companion library holds what it found out at load time, and the thread count: all its state is its own.
mapfile -t own < <(nm "$build/lib/liblumcore.so.5.2" | awk '$2 ~ /[bd]/ && $3 ~ /^_ZN3lum/ { print $3 }')
check liblumcore "$base" "threads_omp_of_n_lum ${own[*]}"

mapfile -t objects < <(find "$build" -path '*_avx2.dir*' -name '*_kernels.cpp.o')
[ "${#objects[@]}" -gt 0 ] || fail "no AVX2 objects found"
scripts/check_level.sh avx2 "${objects[@]}" >&2 || fail "an AVX2 object defines a shared name"
mapfile -t objects < <(find "$build" -path '*_sse3.dir*' -name '*_kernels.cpp.o')
scripts/check_level.sh sse3 "${objects[@]}" >&2 || fail "an SSE3 object defines a shared name"

[ $failed -eq 0 ] && echo "$build: exported names, needed libraries, hardening and levels are as they should be"
exit $failed
