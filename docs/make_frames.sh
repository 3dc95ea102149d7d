#!/usr/bin/env bash
# usage: make_frames.sh FOLDER
# Writes frame1.pgm to frame8.pgm, a synthetic sequence: a part of images/camera.pgm in all of them, with a little
# noise, across which the horse of images/horse.pgm moves, at a third of its size, from the second frame on.
set -euo pipefail
images=$(dirname "${BASH_SOURCE[0]}")/../images
mkdir -p "$1"

# samples NAME: of the picture, one a line, behind its header of three lines.
samples() { tail -n +4 "$images/$1" | od -An -v -w1 -tu1; }

{ samples camera.pgm && samples horse.pgm; } | LC_ALL=C awk -v folder="$1" '
  NR <= 512 * 512 { camera[NR - 1] = $1; next }
  { horse[NR - 512 * 512 - 1] = $1 }
  END {
    seed = 1
    for (frame = 1; frame <= 8; ++frame) {
      file = folder "/frame" frame ".pgm"
      printf "P5\n320 240\n255\n" > file
      left = 32 * frame - 80
      for (y = 0; y < 240; ++y)
        for (x = 0; x < 320; ++x) {
          value = camera[(y + 200) * 512 + x + 192]
          column = 3 * (x - left)
          row = 3 * (y - 100)
          if (frame > 1 && column >= 0 && column < 400 && row >= 0 && row < 328 && horse[row * 400 + column] < 128)
            value = 20
          seed = (seed * 1103 + 12345) % 65536
          value += int(seed / 8192) - 4  # -4 to 3
          value = value < 0 ? 0 : value > 255 ? 255 : value
          printf "%c", value > file
        }
      close(file)
    }
  }'
