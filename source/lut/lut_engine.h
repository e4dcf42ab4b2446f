// The look-up table engines: every operation that maps component values
// through 256-entry tables hands its tables to one of these.
#pragma once

#include "libimg.h"

namespace imge {
namespace lut {

// One table for every component: palette entries of colour-mapped bitmaps,
// bytes 0..2 of 4-byte pixels, every byte of other pixels. `table` may be
// rewritten (grey bitmaps with fewer than 256 levels), so pass a scratch copy.
IMF_ERROR ApplyLut(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TUbyte table[256]);

// Three tables, one per byte position 0..2 (Red, Green, Blue of a palette).
IMF_ERROR ApplyLutMore(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const TUbyte tables[768]);

// Rewrites the table of a grey bitmap with `levels` grey levels (2..255).
void RescaleGreyTable(TUbyte table[256], int levels);

}  // namespace lut
}  // namespace imge
