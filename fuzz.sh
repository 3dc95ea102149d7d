#!/usr/bin/env bash
# usage: fuzz.sh MINUTES [separable|fixed|canny|norm|moments|image_file]
# Builds the fuzz targets with clang and runs all of them, or one, for so many minutes in total. What they learn is kept
# in build/fuzz/corpus, and inputs that make them fail in build/fuzz/crashes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

usage() {
  echo "usage: ${0##*/} MINUTES [separable|fixed|canny|norm|moments|image_file]" >&2
  exit 2
}
[[ "${1:-}" =~ ^[1-9][0-9]{0,4}$ ]] || usage
case "${2:-all}" in
  all) targets=(separable fixed canny norm moments image_file) ;;
  separable | fixed | canny | norm | moments | image_file) targets=("$2") ;;
  *) usage ;;
esac
source scripts/stages.sh

crashes=build/fuzz/crashes
processors=$(nproc)
rounds=$(((${#targets[@]} + processors - 1) / processors))
seconds=$(($1 * 60 / rounds))

# The targets read numbers from their bytes: long inputs reach all of them.
seed() {
  mkdir -p "$1"
  [[ -n $(ls -A "$1") ]] || head -c 65536 /dev/urandom | split -b 512 -a 3 - "$1/seed-"
}

run_target() {
  # Large images are slow: those of the corpus are taken up again less often.
  local options=(-len_control=0 -entropic_scale_per_exec_time=1 -max_len=512 -timeout=120 -rss_limit_mb=1500)
  # Memory is to be spent on what is in a file, not on what its header announces.
  [[ $1 == image_file ]] && options=(-dict=fuzz/image_file.dict -max_len=4096 -timeout=60 -malloc_limit_mb=1)
  seed "build/fuzz/corpus/$1"
  "build/fuzz/bin/fuzz_$1" "${options[@]}" -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$crashes/$1-" "build/fuzz/corpus/$1" >"$(log_of "fuzz $1")" 2>&1
}

# report TARGET STATUS
report() {
  local log input
  log=$(log_of "fuzz $1")
  if (($2 == 0)); then
    printf '%-12s%9d calls, %6d a second, coverage %5d, no failure\n' "$1" \
      "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" \
      "$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")" \
      "$(sed -n 's/.*DONE *cov: *\([0-9]*\).*/\1/p' "$log")"
    return
  fi
  printf '%-12s FAILED; from %s:\n' "$1" "$log"
  grep -B 3 -A 12 -m 1 -E '^fuzz: |ERROR: |runtime error: ' "$log" || tail -n 20 "$log"
  input=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
  [[ -n $input ]] || return 0
  # In full, for a machine that is gone when this is read.
  printf 'To repeat it:\nbase64 -d <<<%s >input; build/fuzz/bin/fuzz_%s input\n' "$(base64 -w 0 "$input")" "$1"
}

stage "install packages" scripts/install-packages.sh fuzz
stage "configure fuzz" cmake --preset fuzz
stage "build fuzz" cmake --build --preset fuzz
mkdir -p "$crashes"
failed=0
for ((first = 0; first < ${#targets[@]}; first += processors)); do
  at_once=("${targets[@]:first:processors}")
  processes=()
  for target in "${at_once[@]}"; do
    run_target "$target" &
    processes+=($!)
  done
  for i in "${!at_once[@]}"; do
    status=0
    wait "${processes[i]}" || status=$?
    ((status == 0)) || failed=1
    report "${at_once[i]}" "$status"
  done
done
exit "$failed"
