// Public entry points of the rank filters: each is one call of the entry frame.
#include "core/entry_frame.h"
#include "libformat.h"
#include "libimge.h"

extern "C" {

IMG_ERROR imgMinimum(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMinimum(s, d, nullptr, filter_size); });
}

IMG_ERROR imgMaximum(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMaximum(s, d, nullptr, filter_size); });
}

IMG_ERROR imgMedianBox(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size) {
    return imge::Framed(src, dst,
                        [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMedianBox(s, d, nullptr, filter_size); });
}

IMG_ERROR imgMedianCross(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size) {
    return imge::Framed(src, dst,
                        [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMedianCross(s, d, nullptr, filter_size); });
}

}  // extern "C"
