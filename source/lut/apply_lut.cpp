// imfApplyLut: a caller's table through the table engine.
#include <cstring>

#include "libformat.h"
#include "lut/lut_engine.h"

extern "C" {

IMF_ERROR imfApplyLut(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, const TUbyte table[256]) {
    if (!src || !table) return IMF_ERRBADPARAMS;
    if (src->Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    TUbyte local[256];
    std::memcpy(local, table, sizeof local);
    return imge::lut::ApplyLut(src, dst, area, local);
}

}  // extern "C"
