#!/usr/bin/env bash
# usage: bench.sh [FILTER]
# Measures the library against the machine's copy speed and against plain loops, and writes docs/performance.md with its
# plot. With FILTER, a regular expression on names like lumiFilterLowpassBorder_8u_C1R/3x3/1920x1080/avx2/1 (the last
# part is the number of threads, 1 or all), measures the matching lines only and writes nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/stages.sh

build=build/bench
program=$build/bin/lumcv_bench
document=docs/performance.md
picture=docs/images/performance.svg

build() {
  cmake --preset x86_64 -B "$build" -DLUM_BENCH=ON -DLUM_TESTS=OFF -DLUM_TOOLS=OFF &&
    cmake --build "$build" --target lumcv_bench
}
measure() { "$program" --summary="$build/summary.md" >"$build/lines.md"; }
plot() { gnuplot -e "lines = '$build/lines.md'; picture = '$picture'" bench/performance.gp; }

# As "L1d 32K, L2 512K"; one of each, however many there are.
caches() { lscpu --caches=NAME,ONE-SIZE | awk 'NR > 1 { printf "%s%s %s", (NR > 2 ? ", " : ""), $1, $2 }'; }

introduction() {
  cat <<END
# Performance

Measured on $(date +%F) by \`./bench.sh\`, the Release build for 64 bits.

- Processor: $(awk -F ': ' '/^model name/ { print $2; exit }' /proc/cpuinfo), $(nproc) processors; caches $(caches)
- System: $(uname -sr), GCC $(g++ -dumpfullversion)

| column | meaning |
|---|---|
| AVX2, SSE3 | time of a call with the library pinned to that instruction set |
| GB/s | bytes of the source and destination planes, each counted once, by that time |
| of copy | that speed as a fraction of what \`memcpy\` reaches between two blocks of half as many bytes each |
| x scalar | how many times faster than a plain loop of the same rule, compiled without vectors |
| 1x1 | time of a call for one pixel, with the shipped library, which chooses the instruction set |
| 3840x2160 and so on | "of copy" at that size, AVX2 / SSE3, one thread; the median of a group of lines |
| threads 3840 and so on | how many times faster on all threads than on one, in turns, images of that width, AVX2 |
| small call | time per pixel at 64x64 by that at 1920x1080, AVX2 |

Settings: the size of the mask, or K taps and the divisor. The taps are 1 2 1, 1 2 3 2 1 and so on; "fixed point" means
taps and divisor times 256, but for one more at both ends and two less in the middle. All figures are medians: calls of
all functions alternate in random order, and each time is compared with copies made right after it. Borders are
replicated. Canny runs on the Sobel derivatives of \`images/camera.pgm\`, mirrored over the plane.

On one thread only times count at which the core was this program's alone, if there are some. Where it serves two, as
hyperthreads do, a program gets only part of what the core can do, and cannot see the other one if that belongs to
another guest of the machine; but a loop of vector additions, run before and after each time, then takes up to one and a
half times as long.
The plain loops are timed on as many rows as take a fraction of a millisecond, that of the sort on all.

![Fractions of the copy speed](images/performance.svg)

END
}

stage "install packages" scripts/install-packages.sh bench
stage "build" build
stage "compare with plain loops" "$program" --check
if (($# > 0)); then
  exec "$program" "$1"
fi
echo "The measurement takes some minutes."
stage "measure" measure
stage "plot" plot
{
  introduction
  cat "$build/summary.md"
} >"$build/performance.md"
mv "$build/performance.md" "$document"
cat "$build/summary.md"
echo
echo "Written: $document, $picture"
