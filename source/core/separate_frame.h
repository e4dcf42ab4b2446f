// The separate-bitmap frame: operations that compute every pixel of a new
// bitmap from the source's pixel at the same place (proportional brightness,
// saturation gamma, desaturation, colour exchange, ...).
//
// The steps, in this order:
//   1. the operation checks the source's type and resolves the area with
//      imfGetClippingRect() (in whichever order the operation needs);
//   2. BeginSeparate(): a new bitmap of the source's type, pack, size and bits
//      per component; when an area was passed (not null) the source's pixels
//      are copied in, so pixels outside the rectangle keep their values (with
//      no area the rectangle is the whole bitmap and nothing is copied);
//      TransparentIndex -1, ColorUsed from the source, extended data copied;
//   3. the operation writes every pixel of the rectangle into the new bitmap,
//      reading the source (ForEachSeparateRow() walks the rows);
//   4. HandOver() (core/target.h): with a destination, the destination record receives
//      the new bitmap; without one, the source's buffers are released with
//      imfFree and the source record becomes the new bitmap.
// RunSeparate() does steps 2 to 4 around a row function and is what most
// operations call:
//
//   IMF_RECT r;
//   if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
//   return RunSeparate(src, dst, area, r, [&](const TUbyte *in, TUbyte *out, TLong n) {
//       ... n pixels of src->BytesPerPixel bytes each, in -> out ... });
//
// Nothing is changed when an error is returned. The colour map is not copied
// by the frame: an operation that needs it copies it between Begin and Finish.
#pragma once

#include "core/target.h"
#include "libimg.h"

namespace imge {

// Step 2 into `*fresh` (which then owns its buffers). The source must have
// passed BitmapIsValid. IMF_NOERROR; IMF_ERRBADBITMAP for sources with more
// than 8 bits per component; IMF_ERRMEMORY (then `*fresh` owns nothing).
// With writes_every_pixel (the operation writes every pixel of the rectangle
// in step 3) and no area, the new pixels are not cleared first.
IMF_ERROR BeginSeparate(const IMF_BITMAP *src, const IMF_RECT *area, IMF_BITMAP *fresh,
                        bool writes_every_pixel = false);

// Calls row(in, out, count) for each row of `rect`: `in` points at the
// source's pixel (rect.left, y), `out` at the same pixel of `fresh`, and
// `count` is rect.width (at least 1).
template <typename RowFn>
void ForEachSeparateRow(const IMF_BITMAP *src, IMF_BITMAP *fresh, const IMF_RECT &rect, RowFn &&row) {
    if (rect.width <= 0 || rect.height <= 0) return;
    const long long bpp = src->BytesPerPixel;
    for (TLong y = rect.top; y < rect.top + rect.height; ++y) {
        const TUbyte *in = src->Data + static_cast<long long>(y) * src->BytesPerLine + rect.left * bpp;
        TUbyte *out = fresh->Data + static_cast<long long>(y) * fresh->BytesPerLine + rect.left * bpp;
        row(in, out, rect.width);
    }
}

// Steps 2 to 4 around `row` (see ForEachSeparateRow). Returns the code of
// BeginSeparate; the source is unchanged when it is not IMF_NOERROR.
template <typename RowFn>
IMF_ERROR RunSeparate(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const IMF_RECT &rect,
                      RowFn &&row) {
    IMF_BITMAP fresh;
    IMF_ERROR rc = BeginSeparate(src, area, &fresh);
    if (rc != IMF_NOERROR) return rc;
    ForEachSeparateRow(src, &fresh, rect, row);
    HandOver(src, dst, &fresh);
    return IMF_NOERROR;
}

}  // namespace imge
