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
    const bool uncleared = writes_every_pixel && !area;
    if (!(uncleared ? AllocateUncleared(fresh, src->Type, src->Pack, src->Width, src->Height, bits)
                    : imfAllockEx(fresh, src->Type, src->Pack, src->Width, src->Height, bits))) {
        std::memset(fresh, 0, sizeof *fresh);
        return IMF_ERRMEMORY;
    }
    if (area) CopyPixels(src, fresh);
    fresh->TransparentIndex = -1;
    fresh->ColorUsed = src->ColorUsed;
    if (imfCopyExtendedData(fresh, src) != IMF_NOERROR) {
        imfFree(fresh);
        std::memset(fresh, 0, sizeof *fresh);
        return IMF_ERRMEMORY;
    }
    return IMF_NOERROR;
}

}  // namespace imge
