// Public entry points of the Gaussian blur and the drop shadow: each is one
// call of the entry frame.
#include "core/entry_frame.h"
#include "libformat.h"
#include "libimge.h"

extern "C" {

IMG_ERROR imgGaussianBlur(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size) {
    return imge::Framed(src, dst,
                        [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBlurGaussian(s, d, nullptr, filter_size); });
}

IMG_ERROR imgDropShadow(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 size, IMG_INT32 depth, IMG_INT32 keep_size) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) {
        return imfDropShadow(s, d, nullptr, size, depth, keep_size);
    });
}

}  // extern "C"
