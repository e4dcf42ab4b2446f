// imfNegate: the complement through the table engine, binary bitmaps bit by bit.

#include "core/bitmap_check.h"
#include "core/target.h"
#include "libformat.h"
#include "libtools.h"
#include "lut/lut_engine.h"

namespace {

// Inverts bits left..left+width-1 of a 1-bit row: whole bytes at once, the
// partial bytes at either end through masks.
void InvertBits(TUbyte *row, TLong left, TLong width) {
    if (width <= 0) return;
    TLong end = left + width;  // one past the last bit
    TLong b0 = left >> 3, b1 = (end - 1) >> 3;
    TUbyte head = static_cast<TUbyte>(0xFFu >> (left & 7));
    TUbyte tail = static_cast<TUbyte>(0xFFu << (7 - ((end - 1) & 7)));
    if (b0 == b1) {
        row[b0] ^= static_cast<TUbyte>(head & tail);
        return;
    }
    row[b0] ^= head;
    for (TLong b = b0 + 1; b < b1; ++b) row[b] = static_cast<TUbyte>(~row[b]);
    row[b1] ^= tail;
}

IMF_ERROR NegateBinary(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    IMF_BITMAP *target;
    IMF_RECT r;
    IMF_ERROR rc = imge::PrepareTarget(src, dst, area, false, &target, &r);
    if (rc != IMF_NOERROR) return rc;
    for (TLong y = r.top; y < r.top + r.height; ++y)
        InvertBits(target->Data + static_cast<long long>(y) * target->BytesPerLine, r.left, r.width);
    return IMF_NOERROR;
}

}  // namespace

extern "C" {

IMF_ERROR imfNegate(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    if (!src) return IMF_ERRBADPARAMS;
    if (src->Type == IMF_BINARY) {
        if (!imge::BitmapIsValid(src)) return IMF_ERRBADBITMAP;
        return NegateBinary(src, dst, area);
    }
    TUbyte table[256];
    for (int v = 0; v < 256; ++v) table[v] = static_cast<TUbyte>(255 - v);
    return imge::lut::ApplyLut(src, dst, area, table);
}

}  // extern "C"
