#include "lumcv_frame.h"

const LumLibraryVersion* lumcvGetLibVersion() {
  static constexpr LumLibraryVersion version = {
      5, 2, 108, 398, {'t', '7'}, "liblumcvt7.so.5.2", "5.2", "Jul 11 2007",
  };
  return &version;
}

#define LUM_FOUR_PIXELS(a, b, c) a, b, c, a, b, c, a, b, c, a, b, c
#define LUM_SIXTEEN_PIXELS(a, b, c) \
  LUM_FOUR_PIXELS(a, b, c), LUM_FOUR_PIXELS(a, b, c), LUM_FOUR_PIXELS(a, b, c), LUM_FOUR_PIXELS(a, b, c)
const Lum8u lumcvCoiMaskA[144] = {
    LUM_SIXTEEN_PIXELS(0xFF, 0, 0),
    LUM_SIXTEEN_PIXELS(0, 0xFF, 0),
    LUM_SIXTEEN_PIXELS(0, 0, 0xFF),
};
