#!/usr/bin/env bash
# usage: background_example.sh EXAMPLE LUMCV
# The example of docs/background.md and the program must find the same on the frames of that page.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"${BASH_SOURCE[0]%/*}/../docs/make_frames.sh" "$work/frames"
"$1" "$work"/frames/*.pgm >"$work/example.pgm"
"$2" background "$work/frames" "$work/program.pgm"
cmp "$work/example.pgm" "$work/program.pgm"
