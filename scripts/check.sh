#!/usr/bin/env bash
# What is checked before a commit beside the tests: format, style, links, the reference, lint, and the built libraries of
# both word sizes (build them first: ./test.sh does).
# shellcheck disable=SC2317  # step() calls the functions
set -euo pipefail
cd "$(dirname "$0")/.."
failed=0
step() {
  local title=$1
  shift
  if "$@"; then echo "ok: $title"; else
    echo "FAILED: $title" >&2
    failed=1
  fi
}

mapfile -t code < <(git ls-files '*.h' '*.cpp' '*.c')
mapfile -t text < <(git ls-files '*.h' '*.cpp' '*.c' '*.inc' '*.txt' '*.cmake' '*.sh' '*.md' '*.json' '*.map' | grep -v '^images/')
mapfile -t pages < <(git ls-files '*.md')
mapfile -t shell < <(git ls-files '*.sh' .ci/run)

no_match() { ! grep -nE "$1" "${text[@]}"; }
# gnu++20: the C library's header on processor features is C, and clang knows _Bool only in GNU mode.
lint() {
  local log=build/clang-tidy.log
  git ls-files 'core/*.cpp' 'lumcv/*.cpp' 'lumcore/*.cpp' 'tools/*.cpp' |
    xargs -P "$(nproc)" -n 2 clang-tidy --quiet -p build/x86_64 --extra-arg=-std=gnu++20 2>"$log" || {
    cat "$log"
    return 1
  }
}

step "format" clang-format --dry-run -Werror "${code[@]}"
step "no tabs, no trailing white space, no carriage returns" no_match $'\t| +$|\r'
step "shell scripts" shellcheck "${shell[@]}"
step "links" scripts/check_links.sh "${pages[@]}"
step "reference" cmake --build build/x86_64 --target docs
step "lint" lint
for preset in i386 x86_64; do
  step "libraries of $preset" scripts/check_library.sh "build/$preset"
done
exit $failed
