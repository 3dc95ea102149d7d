// Buffer sizes of the separable passes; the fixed filters' sizes contain them.
#pragma once
#include "core/check.h"

namespace lum {

// Work area of a row pass per thread: bytes per tap and constant bytes.
struct RowArea {
  int tap;
  int constant;
};
// Work area of a column pass per thread: bytes per column, and what the columns are rounded up to.
struct ColumnArea {
  int column;
  int multiple;
};

Bytes row_buffer_size(RowArea area, LumSize roi, int taps);
Bytes column_buffer_size(ColumnArea area, LumSize roi, int taps);
constexpr int kColumnBufferSizeFloat = 32;

}  // namespace lum
