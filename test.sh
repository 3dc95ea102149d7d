#!/usr/bin/env bash
# usage: test.sh [i386|x86_64|all|sanitize]
# Builds and tests one word size or both; with sanitize both under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

case "${1:-all}" in
  i386 | x86_64) presets=("$1") ;;
  all) presets=(x86_64 i386) ;;
  sanitize) presets=(x86_64-sanitize i386-sanitize) ;;
  *)
    echo "usage: ${0##*/} [i386|x86_64|all|sanitize]" >&2
    exit 2
    ;;
esac
source scripts/stages.sh

summary=()
failed=0

# conclude PRESET START VERDICT
conclude() { summary+=("$(printf '%-17s%s (%s s)' "$1:" "$3" "$(seconds_since "$2")")"); }

test_preset() {
  local start
  start=$(now)
  # Continuous integration lets no warning pass.
  if ! stage "configure $1" cmake --preset "$1" ${CI:+-DCMAKE_COMPILE_WARNING_AS_ERROR=ON} || ! stage "build $1" cmake --build --preset "$1"; then
    conclude "$1" "$start" "not built"
    return 1
  fi
  if ! ctest --preset "$1" -j2; then
    conclude "$1" "$start" "tests FAILED"
    return 1
  fi
  conclude "$1" "$start" "all tests passed"
}

stage "install packages" scripts/install-packages.sh all
for preset in "${presets[@]}"; do
  test_preset "$preset" || failed=1
done
echo
printf '%s\n' "${summary[@]}"
exit "$failed"
