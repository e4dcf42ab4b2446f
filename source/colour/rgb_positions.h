// Byte positions of red, green and blue in the pixels of the public layer's
// true-colour types. CMYK counts as R, G, B in its first three bytes.
#pragma once

#include "libimg.h"
#include "records/pixel_types.h"

namespace imge {
namespace colour {

struct RgbPositions { int r, g, b; };

// False for types without a true-colour flag.
inline bool PublicRgbPositions(IMG_BITMAP_TYPE type, RgbPositions *p) {
    imge::records::RgbOrder o;
    if (type == IMG_CMYK) o = {0, 1, 2, -1};
    else if (!imge::records::RgbOrderOf(static_cast<unsigned>(type), &o)) return false;
    *p = {o.r, o.g, o.b};
    return true;
}

// The common first steps of the public operations that work on IMG_BITMAP
// directly: refuse (IMG_ERROR_BAD_PARAMETERS) more than 8 bits per component
// or a type without a true-colour flag; then, when `bdst` is given, clone the
// source into *bdst (IMG_ERROR_NO_MEMORY, *bdst null, when that fails) and
// work on the clone. On success *work is the bitmap to change.
IMG_ERROR BeginPublicTrueColour(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_BITMAP **work,
                                RgbPositions *pos);

}  // namespace colour
}  // namespace imge
