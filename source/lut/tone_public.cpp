// Public entry points of the tone curves.
#include "core/entry_frame.h"
#include "libformat.h"
#include "libimge.h"

extern "C" {

IMG_ERROR imgBrightness(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 brightness) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBrightness(s, d, nullptr, brightness); });
}

IMG_ERROR imgContrast(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 contrast) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfContrast(s, d, nullptr, contrast); });
}

IMG_ERROR imgGamma(IMG_BITMAP *src, IMG_BITMAP **dst, double gamma) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfGamma(s, d, nullptr, gamma); });
}

IMG_ERROR imgLogCorrection(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfLog(s, d, nullptr); });
}

IMG_ERROR imgAdjust(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 brightness, IMG_INT32 contrast, double gamma) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) {
        return imfAdjust(s, d, nullptr, brightness, contrast, gamma);
    });
}

}  // extern "C"
