// Plain references of the rank filters, the Gaussian blur and the drop
// shadow: every output byte gathered from its neighbourhood and computed as
// written (sort and pick; the two-dimensional Gaussian kernel in doubles with
// an extended-precision sum and truncation). The oracles for the fast paths.
#pragma once

#include "libimg.h"

namespace reference {

enum class Rank { kMinimum, kMaximum, kMedianBox, kMedianCross };

// Computes the bytes of `rect` of the filtered src into `target` (a bitmap of
// src's geometry; bytes outside the rectangle are left alone). The
// neighbourhood of side n around (x, y) covers rows y - n/2 .. y - n/2 + n - 1
// and the same columns around x, clamped to the bitmap's edges.
void RankFilter(Rank kind, const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n);
void GaussianBlur(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n);

// The Gaussian kernel of side n, row by row (n * n doubles), and its sum.
double GaussianKernel(int n, double *kernel);

// The whole operations, with imfBlurGaussian's and imfDropShadow's results:
// the new bitmap is returned in *out (owned by the caller, imfFree).
IMF_ERROR BlurGaussianOp(const IMF_BITMAP &src, const IMF_RECT *area, int n, IMF_BITMAP *out);
IMF_ERROR DropShadowOp(const IMF_BITMAP &src, int size, int depth, int keep_size, IMF_BITMAP *out);

}  // namespace reference
