// Public entry points of the histogram-based corrections and the balance.
#include "core/entry_frame.h"
#include "libformat.h"
#include "libimge.h"

namespace {

// The low byte of a colour component, read as a signed 8-bit offset.
inline TLong Offset(IMG_UINT16 component) { return static_cast<TByte>(component & 0xFF); }

// Orders the four offsets of `color` by the pixel's byte order; values[3] is
// never used by the balance (byte 3 of 4-byte pixels is kept).
void BalanceValues(unsigned type, const IMG_COLOR &c, TLong values[4]) {
    const TLong r = Offset(c.Red), g = Offset(c.Green), b = Offset(c.Blue), a = Offset(c.Alpha);
    switch (type) {
        case IMG_RGBA: values[0] = r; values[1] = g; values[2] = b; values[3] = a; break;
        case IMG_BGR:  values[0] = b; values[1] = g; values[2] = r; values[3] = 0; break;
        case IMG_ABGR: values[0] = a; values[1] = b; values[2] = g; values[3] = r; break;
        case IMG_BGRA: values[0] = b; values[1] = g; values[2] = r; values[3] = a; break;
        case IMG_ARGB: values[0] = a; values[1] = r; values[2] = g; values[3] = b; break;
        default:       values[0] = r; values[1] = g; values[2] = b; values[3] = 0; break;
    }
}

}  // namespace

extern "C" {

IMG_ERROR imgEqualize(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfEqualize(s, d, nullptr); });
}

IMG_ERROR imgEqualizeOnLuminance(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfEqualizeOnLuminance(s, d, nullptr); });
}

IMG_ERROR imgNormalize(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfNormalize(s, d, nullptr); });
}

IMG_ERROR imgAutomaticLevels(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAutoLevels(s, d, nullptr); });
}

IMG_ERROR imgAutomaticContrast(IMG_BITMAP *src, IMG_BITMAP **dst) {
    return imge::Framed(src, dst, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAutoContrast(s, d, nullptr); });
}

// A null colour is refused like a bad bitmap, before the frame runs.
IMG_ERROR imgBalance(IMG_BITMAP *src, IMG_BITMAP **dst, const IMG_COLOR *color) {
    if (!color) return IMG_ERROR_BAD_PARAMETERS;
    return imge::Framed(src, dst, [&](IMF_BITMAP *s, IMF_BITMAP *d) {
        TLong values[4];
        BalanceValues(s->Type, *color, values);
        return imfBalance(s, d, nullptr, values);
    });
}

}  // extern "C"
