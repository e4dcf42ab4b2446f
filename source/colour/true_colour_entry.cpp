#include "colour/rgb_positions.h"
#include "libtools.h"

namespace imge {

IMG_ERROR BeginPublicTrueColour(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_BITMAP **work,
                                RgbPositions *pos) {
    if (!src || src->BitsPerComponent > 8 || !(src->Type & IMG_TRUECOLORS) ||
        !PublicRgbPositions(src->Type, pos))
        return IMG_ERROR_BAD_PARAMETERS;
    // Pixels are read BytesPerPixel apart from Data: a record whose pixel size
    // cannot hold the three colour bytes, or without pixels, is refused.
    const int last = pos->r > pos->b ? pos->r : pos->b;
    if (src->Width > 0 && src->Height > 0 && (!src->Data || src->BytesPerPixel <= last))
        return IMG_ERROR_BAD_PARAMETERS;
    if (!bdst) {
        *work = src;
        return IMG_NO_ERROR;
    }
    // Cloned whenever a destination is asked for, even when *bdst is src.
    *bdst = imgCloneBitmap(src);
    if (!*bdst) return IMG_ERROR_NO_MEMORY;
    *work = *bdst;
    return IMG_NO_ERROR;
}

}  // namespace imge
