#!/usr/bin/env bash
# Finds the edges of the bundled photographs with the 64-bit and the 32-bit build, and compares the two.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/stages.sh

output=demo-output

build() { cmake --preset "$1" && cmake --build --preset "$1" --target lumcv_tool; }

# edges WORD_SIZE FORMAT
edges() { "build/$1/bin/lumcv" edges images "$output/$1" --format "$2"; }

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
for word_size in x86_64 i386; do
  stage "edges $word_size" edges "$word_size" pgm
  sed 's/^/  /' "$(log_of "edges $word_size")"
done
stage "write PNG" edges x86_64 png
stage "compare" compare
sed 's/^/  /' "$(log_of compare)"

cat <<END

The 32-bit and the 64-bit edge maps agree byte for byte.
To look at them: $PWD/$output/x86_64/*.png
END
