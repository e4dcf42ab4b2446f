// Shared steps of the processing operations: making a destination like the
// source, copying pixels, and handing a newly computed bitmap over.
#pragma once

#include "libimg.h"

namespace imge {

// Fills `out` with a new zeroed bitmap of src's type, pack and size, with
// src's ColorUsed, TransparentIndex and extended data, and (when
// copy_palette and src has one) src's whole colour map.
// IMF_NOERROR or IMF_ERRMEMORY (then `out` owns nothing).
IMF_ERROR AllocateLike(const IMF_BITMAP *src, IMF_BITMAP *out, bool copy_palette);

// imfAllockEx for a bitmap whose every pixel the caller writes before
// anything reads it: the same record, but the pixel block is not cleared
// first (only the padding after each row's pixels is), which saves a pass
// over memory that an application's allocator hands back already used.
// 1 on success, 0 (and nothing owned) when refused or memory is short.
TUword AllocateUncleared(IMF_BITMAP *b, TLong type, TLong pack, TLong width, TLong height, TLong bits);

// Copies every row of pixels from src to dst (same type and size).
void CopyPixels(const IMF_BITMAP *src, IMF_BITMAP *dst);

// Prepares the target of an operation that rewrites pixels where they are:
// resolves the area into *rect (IMF_ERRBADPARAMS when refused, nothing done);
// with a destination, makes it a full copy of src (IMF_ERRMEMORY on failure)
// and returns it in *target; without one, or when dst is src, *target is src.
IMF_ERROR PrepareTarget(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, bool copy_palette,
                        IMF_BITMAP **target, IMF_RECT *rect);

// Hands `fresh` (a bitmap computed from src) over: into *dst when dst is
// given (and not src); otherwise src's buffers are released and src becomes
// `fresh`.
void HandOver(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_BITMAP *fresh);

}  // namespace imge
