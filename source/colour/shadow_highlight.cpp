// Shadow and highlight stretch: dark pixels through one linear stretch,
// bright pixels through another, mid-tones untouched.
#include <cstring>

#include "colour/stretch_rows.h"
#include "core/bitmap_check.h"
#include "core/target.h"
#include "libformat.h"
#include "libtools.h"
#include "core/lut_rows.h"

namespace {

// c' = ((c - base) * 255) / divisor, truncated, then clamped to 0..255, for
// every byte value: one table per class replaces the per-byte division.
void StretchTable(long long base, long long divisor, TUbyte table[256]) {
    for (long long c = 0; c < 256; ++c) {
        const long long v = ((c - base) * 255) / divisor;
        table[c] = static_cast<TUbyte>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
}

// Pixels of any other size: bytes 0..2 in place.
void StretchWide(TUbyte *p, TLong n, int bpp, const imge::colour::StretchTables &t) {
    for (TLong x = 0; x < n; ++x, p += bpp) {
        const int luma = COLOR2GREY(p[0], p[1], p[2]);
        if (luma > imge::colour::kShadowTop && luma < imge::colour::kHighlightBottom) continue;
        const TUbyte *table = luma <= imge::colour::kShadowTop ? t.dark : t.bright;
        for (int k = 0; k < 3; ++k) p[k] = table[p[k]];
    }
}

// The destination's rows are written in one pass: bytes outside the
// rectangle copied, the rectangle stretched straight from the source.
void StretchInto(const IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT &r, const imge::colour::StretchTables &t) {
    const long long line = src->BytesPerLine, bpp = src->BytesPerPixel;
    const long long left = r.left * bpp, width = r.width * bpp;
    if (r.top > 0) std::memcpy(dst->Data, src->Data, static_cast<std::size_t>(line * r.top));
    for (TLong y = r.top; y < r.top + r.height; ++y) {
        const TUbyte *in = src->Data + y * line;
        TUbyte *out = dst->Data + y * line;
        std::memcpy(out, in, static_cast<std::size_t>(left));
        imge::colour::StretchRow(in + left, out + left, r.width, static_cast<int>(bpp), t);
        std::memcpy(out + left + width, in + left + width, static_cast<std::size_t>(line - left - width));
    }
    const long long below = static_cast<long long>(r.top) + r.height;
    if (below < src->Height)
        std::memcpy(dst->Data + below * line, src->Data + below * line,
                    static_cast<std::size_t>(line * (src->Height - below)));
}

}  // namespace

extern "C" {

IMF_ERROR imfAdjustShadowHighlight(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area,
                                   TLong shadow, TLong highlight) {
    if (!imge::BitmapIsValid(src) || src->Type == IMF_BINARY || src->Type == IMF_COLORS)
        return IMF_ERRBADBITMAP;
    // 64-bit arithmetic: the same values as 32-bit wherever that does not
    // overflow, and defined for every parameter. Both divisors are odd, so
    // never zero.
    const long long s = (static_cast<long long>(shadow) * 30) / 100;
    const long long h = static_cast<long long>(highlight) / 2;
    imge::colour::StretchTables t;
    StretchTable(s, 255 - 2 * s, t.dark);
    StretchTable(h, 255 - 2 * h, t.bright);

    IMF_RECT r;
    if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
    const int bpp = src->BytesPerPixel;
    IMF_BITMAP *target = src;
    if (dst && dst != src) {  // the source as its own destination works in place
        imge::ResultLike like;
        like.transparent = true;
        IMF_ERROR rc = imge::NewResult(src, dst, like);
        if (rc != IMF_NOERROR) return rc;
        target = dst;
        if (src->Width == 0 || src->Height == 0) return IMF_NOERROR;  // no pixels to copy
        if ((bpp == 3 || bpp == 4) && dst->BytesPerLine == src->BytesPerLine) {
            StretchInto(src, dst, r, t);
            return IMF_NOERROR;
        }
        imge::CopyPixels(src, dst);
    }
    if (r.width == 0 || r.height == 0) return IMF_NOERROR;
    // Grey: each byte by its own value, through one table.
    TUbyte grey[256];
    for (int c = 0; c < 256; ++c)
        grey[c] = c <= imge::colour::kShadowTop ? t.dark[c] : c >= imge::colour::kHighlightBottom ? t.bright[c] : static_cast<TUbyte>(c);
    for (TLong y = r.top; y < r.top + r.height; ++y) {
        TUbyte *p = target->Data + static_cast<long long>(y) * target->BytesPerLine +
                    static_cast<long long>(r.left) * bpp;
        if (bpp < 3) imge::LutBytesOne(p, static_cast<std::size_t>(r.width) * bpp, grey);
        else if (bpp <= 4) imge::colour::StretchRow(p, p, r.width, bpp, t);
        else StretchWide(p, r.width, bpp, t);
    }
    return IMF_NOERROR;
}

}  // extern "C"
