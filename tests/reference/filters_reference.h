// Plain references of the linear neighbourhood filters: every output byte
// gathered from the source with clamped coordinates and computed as the
// formula is written, in signed 32-bit integers with truncating division.
// The oracles for the fast paths (keep parameters where 32-bit arithmetic
// does not overflow).
#pragma once

#include "libimg.h"

namespace reference {

// Each writes the bytes of `rect` of the filtered src into `target` (a bitmap
// of src's geometry, usually a copy of src); bytes outside are left alone.
// The neighbourhood of side n around (x, y) covers columns x - n/2 ..
// x - n/2 + n - 1 and rows y - n/2 .. y - n/2 + n - 1, clamped to the bitmap.
void Convolve(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const IMG_FILTER &filter);
void ConvolveIndex(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int index);
void Sharpen(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int percentage);
void Blur(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int percentage);
void Soften(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int percentage);
void Average(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n);
void ReduceNoise(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect);
void Edge(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int percentage);

}  // namespace reference
