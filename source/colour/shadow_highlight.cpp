// Shadow and highlight stretch: dark pixels through one linear stretch,
// bright pixels through another, mid-tones untouched.
#include "core/bitmap_check.h"
#include "core/target.h"
#include "libformat.h"

namespace {

// c' = ((c - base) * 255) / divisor, truncated, then clamped to 0..255, for
// every byte value: one table per class replaces the per-byte division.
void StretchTable(long long base, long long divisor, TUbyte table[256]) {
    for (long long c = 0; c < 256; ++c) {
        const long long v = ((c - base) * 255) / divisor;
        table[c] = static_cast<TUbyte>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
}

constexpr int kShadowTop = 79;      // luminance up to here: shadow
constexpr int kHighlightBottom = 177;  // from here: highlight

// Bytes 0..2 of `n` pixels through the table of the pixel's luminance class
// (Bpp 0: the pixel size is `bpp`).
template <int Bpp>
void StretchPixels(TUbyte *p, TLong n, const TUbyte (&tables)[3][256], const TUbyte (&class_of)[256],
                   int bpp = Bpp) {
    const int step = Bpp ? Bpp : bpp;
    for (TLong x = 0; x < n; ++x, p += step) {
        const TUbyte *t = tables[class_of[COLOR2GREY(p[0], p[1], p[2])]];
        p[0] = t[p[0]];
        p[1] = t[p[1]];
        p[2] = t[p[2]];
    }
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
    // One table per class (shadow, mid-tone = identity, highlight), picked
    // per pixel by index rather than by branch.
    TUbyte tables[3][256];
    StretchTable(s, 255 - 2 * s, tables[0]);
    for (int c = 0; c < 256; ++c) tables[1][c] = static_cast<TUbyte>(c);
    StretchTable(h, 255 - 2 * h, tables[2]);
    TUbyte class_of[256];
    for (int v = 0; v < 256; ++v) class_of[v] = v <= kShadowTop ? 0 : v >= kHighlightBottom ? 2 : 1;
    const TUbyte *dark = tables[0], *bright = tables[2];

    IMF_BITMAP *target = nullptr;
    IMF_RECT r;
    IMF_ERROR rc = imge::PrepareTarget(src, dst, area, false, &target, &r);
    if (rc != IMF_NOERROR) return rc;
    const int bpp = target->BytesPerPixel;
    for (TLong y = r.top; y < r.top + r.height; ++y) {
        TUbyte *p = target->Data + static_cast<long long>(y) * target->BytesPerLine +
                    static_cast<long long>(r.left) * bpp;
        if (bpp < 3) {
            for (TLong i = 0; i < r.width * bpp; ++i)
                p[i] = p[i] <= kShadowTop ? dark[p[i]] : p[i] >= kHighlightBottom ? bright[p[i]] : p[i];
            continue;
        }
        if (bpp == 3) StretchPixels<3>(p, r.width, tables, class_of);
        else if (bpp == 4) StretchPixels<4>(p, r.width, tables, class_of);
        else StretchPixels<0>(p, r.width, tables, class_of, bpp);
    }
    return IMF_NOERROR;
}

}  // extern "C"
