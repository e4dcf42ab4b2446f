#include "colour/rgb_positions.h"
#include "core/bitmap_check.h"
#include "records/record_convert.h"
#include "libtools.h"

namespace imge {
namespace colour {

IMG_ERROR BeginPublicTrueColour(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_BITMAP **work,
                                RgbPositions *pos) {
    if (!src || src->BitsPerComponent > 8 || !(src->Type & IMG_TRUECOLORS) ||
        !PublicRgbPositions(src->Type, pos))
        return IMG_ERROR_BAD_PARAMETERS;
    // The record check every other operation makes: sizes, pixel size of the
    // type, rows long enough for their pixels, pixels present.
    IMF_BITMAP record;
    imge::records::ToImf(&record, src);
    if (!BitmapIsValid(&record)) return IMG_ERROR_BAD_PARAMETERS;
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

}  // namespace colour
}  // namespace imge
