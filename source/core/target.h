// Shared steps of the processing operations: making a destination like the
// source, copying pixels, and handing a newly computed bitmap over.
#pragma once

#include "libimg.h"

namespace imge {

// What a new result bitmap takes from its source. Pack, ColorUsed and the
// extended data always come along; type and size too unless given here.
struct ResultLike {
    TLong type = -1;                 // the source's when negative
    TLong width = -1, height = -1;   // the source's when negative
    TLong bits = 0;                  // bits per component, as imfAllockEx takes them
    bool palette = false;            // the whole colour map, where both have one
    bool pixels = false;             // every row of pixels (same type and size only)
    bool transparent = false;        // the transparent index; -1 otherwise
    bool uncleared = false;          // pixels not cleared: the caller writes every one
};

// Fills `out` with a new bitmap made like src as `like` says (zeroed unless
// uncleared).
// IMF_NOERROR or IMF_ERRMEMORY (then `out` is zeroed and owns nothing).
IMF_ERROR NewResult(const IMF_BITMAP *src, IMF_BITMAP *out, const ResultLike &like);

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
