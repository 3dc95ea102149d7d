#!/usr/bin/env bash
# Draws the border rules into docs/images/border_*.svg: a row of six pixels and what stands on both sides of it.
set -euo pipefail
cd "$(dirname "$0")/images"

pixels=abcdef
n=${#pixels}
reach=8
cell=32
colours=('#f4a582' '#fddb92' '#d9ef8b' '#a6d9b7' '#92c5de' '#c2a5cf')

# index RULE I: of the pixel that stands at I; -1 for the border value
index() {
  local i=$2 period=$((2 * n))
  case $1 in
    const) ((i < 0 || i >= n)) && i=-1 ;;
    repl) i=$((i < 0 ? 0 : i >= n ? n - 1 : i)) ;;
    wrap) i=$(((i + 2 * n) % n)) ;;
    mirr)
      period=$((2 * n - 2))
      i=$(((i + 2 * period) % period))
      i=$((i < n ? i : period - i))
      ;;
    mirrr)
      i=$(((i + 2 * period) % period))
      i=$((i < n ? i : period - 1 - i))
      ;;
  esac
  echo "$i"
}

draw() {
  local rule=$1 i source x colour letter width=$(((n + 2 * reach) * cell)) height=$((cell + 4))
  echo "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"$((width + 4))\" height=\"$height\"" \
    "font-family=\"sans-serif\" font-size=\"15\" text-anchor=\"middle\">"
  for ((i = -reach; i < n + reach; ++i)); do
    source=$(index "$rule" "$i")
    x=$(((i + reach) * cell + 2))
    if ((source < 0)); then colour='#e0e0e0' letter=v; else colour=${colours[source]} letter=${pixels:source:1}; fi
    echo "<rect x=\"$x\" y=\"2\" width=\"$cell\" height=\"$cell\" fill=\"$colour\" stroke=\"#888\"/>"
    echo "<text x=\"$((x + cell / 2))\" y=\"$((cell / 2 + 7))\" fill=\"#222\">$letter</text>"
  done
  echo "<rect x=\"$((reach * cell + 2))\" y=\"2\" width=\"$((n * cell))\" height=\"$cell\"" \
    "fill=\"none\" stroke=\"#222\" stroke-width=\"3\"/>"
  echo "</svg>"
}

for rule in const repl wrap mirr mirrr; do draw $rule >"border_$rule.svg"; done
