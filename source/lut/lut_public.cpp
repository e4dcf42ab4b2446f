// Public entry points of the table operations.
#include "core/entry_frame.h"
#include "libformat.h"
#include "libimge.h"

extern "C" {

IMG_ERROR imgNegative(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfNegate(s, d, nullptr); });
}

}  // extern "C"
