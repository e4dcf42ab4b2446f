// Plain reference of the table engine: the formulas as written, pixel by
// pixel, with no shortcuts. The oracle for the fast engine.
#pragma once

#include "libimg.h"

namespace reference {

// One table for all components (grey rescaling included); the result is
// written into `target` (already a copy of the source, or the source).
void ApplyLut(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const TUbyte table[256]);
// Three tables by byte position.
void ApplyLutMore(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const TUbyte tables[768]);
// Binary negation through the per-bit services.
void NegateBits(IMF_BITMAP *target, const IMF_RECT &rect);

}  // namespace reference
