// Copies of an image with a border around it, in memory of their own.
#pragma once
#include "core/image.h"

namespace lum {

// Mirrored without the edge pixel above and to the left, with it below and to the right.
constexpr LumBorderType kBorderMirrThenMirrR = 5;

// A new image of (left + width + right) x (top + height + bottom) pixels whose rows follow each other without a gap, to
// be released with lumsFree(); null if it cannot be allocated. The border type is kBorderMirrThenMirrR or any
// LumBorderType, with one value for all channels; others leave the border as the allocation does.
#define LUM_BORDERED(name, T, C) \
  T* name(const T* src, int step, int width, int height, int border, T value, int left, int right, int top, int bottom);
#include "core/bordered.inc"

}  // namespace lum
