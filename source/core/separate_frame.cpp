#include "core/separate_frame.h"

#include <cstring>

#include "core/target.h"
#include "libtools.h"

namespace imge {

IMF_ERROR BeginSeparate(const IMF_BITMAP *src, const IMF_RECT *area, IMF_BITMAP *fresh, bool writes_every_pixel) {
    std::memset(fresh, 0, sizeof *fresh);
    // The new bitmap keeps the source's bits per component. Byte bitmaps that
    // claim 2..7 bits still hold one byte per component, so they are made as
    // 8-bit bitmaps; more than 8 bits is data this library does not handle.
    TLong bits = src->BitsPerComponent;
    if (bits > 8) return IMF_ERRBADBITMAP;
    if (bits != 0 && bits != 1) bits = 8;
    if (bits == 1 && src->Type != IMF_BINARY) bits = 8;
    ResultLike like;
    like.bits = bits;
    like.pixels = area != nullptr;
    like.uncleared = writes_every_pixel && !area;
    return NewResult(src, fresh, like);
}

}  // namespace imge
