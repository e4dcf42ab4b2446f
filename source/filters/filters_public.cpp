// Public entry points of the linear neighbourhood filters: each is one call
// of the entry frame.
#include "core/entry_frame.h"
#include "libformat.h"
#include "libimge.h"

extern "C" {

IMG_ERROR imgConvolve(IMG_BITMAP *src, IMG_BITMAP **dst, const IMG_FILTER *filter) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, filter); });
}

#define IMGE_NAMED_KERNEL(img_name, imf_name)                                                        \
    IMG_ERROR img_name(IMG_BITMAP *src, IMG_BITMAP **dst) {                                          \
        return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imf_name(s, d, nullptr); }); \
    }
IMGE_NAMED_KERNEL(imgEnhanceDetail, imfEnhanceDetail)
IMGE_NAMED_KERNEL(imgEnhanceFocus, imfEnhanceFocus)
IMGE_NAMED_KERNEL(imgFocusRestoration, imfFocusRestoration)
IMGE_NAMED_KERNEL(imgEdgeDetectLight, imfEdgeDetectLight)
IMGE_NAMED_KERNEL(imgEdgeDetectMedium, imfEdgeDetectMedium)
IMGE_NAMED_KERNEL(imgEdgeDetectHeavy, imfEdgeDetectHeavy)
IMGE_NAMED_KERNEL(imgEmboss, imfEmboss)
IMGE_NAMED_KERNEL(imgEmbossMore, imfEmbossMore)
IMGE_NAMED_KERNEL(imgReduceNoise, imfReduceNoise)
#undef IMGE_NAMED_KERNEL

IMG_ERROR imgSharpen(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 percentage) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSharpen(s, d, nullptr, percentage); });
}

IMG_ERROR imgBlur(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 percentage) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBlur(s, d, nullptr, percentage); });
}

IMG_ERROR imgSoften(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 percentage) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSoften(s, d, nullptr, percentage); });
}

IMG_ERROR imgAverage(IMG_BITMAP *src, IMG_BITMAP **dst, IMG_INT32 filter_size) {
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAverage(s, d, nullptr, filter_size); });
}

}  // extern "C"
