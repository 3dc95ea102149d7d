#!/usr/bin/env bash
# Finds the edges of the bundled photographs, and what moves in a synthetic sequence made from them, with the 64-bit and
# the 32-bit build, and compares the two.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/stages.sh

output=demo-output

build() { cmake --preset "$1" && cmake --build --preset "$1" --target lumcv_tool; }

# edges WORD_SIZE FORMAT
edges() { "build/$1/bin/lumcv" edges images "$output/$1" --format "$2"; }

# background WORD_SIZE FORMAT
background() { "build/$1/bin/lumcv" background "$output/frames" "$output/$1/background.$2"; }

write_png() { edges x86_64 png && background x86_64 png; }

# PGM is there in both word sizes, PNG only where its library is.
compare() {
  local file name equal=0
  for file in "$output"/x86_64/*.pgm; do
    name=${file##*/}
    cmp "$file" "$output/i386/$name" || return 1
    echo "$name: equal"
    equal=$((equal + 1))
  done
  ((equal > 0))
}

rm -rf "$output/i386" "$output/x86_64"
stage "install packages" scripts/install-packages.sh demo
for word_size in x86_64 i386; do
  stage "build $word_size" build "$word_size"
done
stage "make frames" docs/make_frames.sh "$output/frames"
for word_size in x86_64 i386; do
  for subcommand in edges background; do
    stage "$subcommand $word_size" "$subcommand" "$word_size" pgm
    sed 's/^/  /' "$(log_of "$subcommand $word_size")"
  done
done
stage "write PNG" write_png
stage "compare" compare
sed 's/^/  /' "$(log_of compare)"

cat <<END

The pictures of the 32-bit and the 64-bit build agree byte for byte.
To look at them: $PWD/$output/x86_64/*.png
END
