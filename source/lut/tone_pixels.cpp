// imfContraBrightness and imfGammasat: per-pixel results written into a new
// bitmap through the separate-bitmap frame. Both results depend only on a
// byte value (and, for the saturation gamma, the pixel's largest component),
// so each call evaluates its formula once per possible input into a table
// and the rows are table look-ups.
#include <cmath>

#include "core/bitmap_check.h"
#include "core/scratch.h"
#include "core/separate_frame.h"
#include "core/target.h"
#include "libformat.h"
#include "libtools.h"
#include "core/lut_rows.h"
#include "lut/tone_pixels.h"
#include "lut/tone_tables.h"

namespace imge {
namespace lut {

int conbright(unsigned value, TLong amount, unsigned max) {
    if (amount == 0) return static_cast<int>(value);
    const long long magnitude = amount < 0 ? -static_cast<long long>(amount) : amount;
    long long a = static_cast<TUword>(magnitude);
    if (a > max) a = max;
    if (max == 0) return 0;
    const long long target = amount > 0 ? 2LL * max : 0;
    const long long v2 = 2LL * value;
    const long long r = (v2 + ((target - v2) * a) / static_cast<long long>(max)) / 2;
    return static_cast<int>(r > max ? max : r < 0 ? 0 : r);
}

int gammasat(int reference, int value, double gamma) {
    if (value >= reference) return value;
    if (value == 0) return 0;
    return static_cast<int>(reference * std::pow(static_cast<double>(value) / reference, gamma));
}

}  // namespace lut
}  // namespace imge

namespace {

bool IsTrueColour(const IMF_BITMAP *b) { return (b->Type & IMF_TRUECOLORS) != 0; }

// The table over bytes 0..2 of 4-byte pixels or over every byte of the
// others, in place.
void ConbrightRow(TUbyte *row, TLong n, int bpp, const TUbyte *table) {
    if (bpp == 4) imge::LutQuadsOne(row, static_cast<std::size_t>(n), table);
    else imge::LutBytesOne(row, static_cast<std::size_t>(n) * bpp, table);
}

// Rows of the saturation gamma: `table` holds 256 rows of 256 entries, row m
// giving gammasat(m, byte, g).
template <int kBpp>
void GammasatRow(const TUbyte *in, TUbyte *out, TLong n, const TUbyte *table) {
    for (TLong i = 0; i < n; ++i, in += kBpp, out += kBpp) {
        const TUbyte a = in[0], b = in[1], c = in[2];
        TUbyte m = a > b ? a : b;
        m = m > c ? m : c;
        const TUbyte *t = table + 256 * m;
        out[0] = t[a];
        out[1] = t[b];
        out[2] = t[c];
        if (kBpp == 4) out[3] = in[3];
    }
}

}  // namespace

extern "C" {

IMF_ERROR imfContraBrightness(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong amount) {
    if (!src) return IMF_ERRBADPARAMS;
    if (!imge::BitmapIsValid(src)) return IMF_ERRBADBITMAP;
    if (src->Type != IMF_GREY && !IsTrueColour(src)) return IMF_ERRBADBITMAP;
    IMF_RECT r;
    if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
    TUbyte table[256];
    for (unsigned v = 0; v < 256; ++v) table[v] = static_cast<TUbyte>(imge::lut::conbright(v, amount, 255));
    // The new bitmap is first a whole copy of the source (one streaming
    // copy), then the rectangle is mapped where it lies: faster than copying
    // and mapping row by row into fresh memory.
    IMF_BITMAP fresh;
    IMF_ERROR rc = imge::BeginSeparate(src, area, &fresh);
    if (rc != IMF_NOERROR) return rc;
    if (!area) imge::CopyPixels(src, &fresh);
    const int bpp = src->BytesPerPixel;
    imge::ForEachSeparateRow(&fresh, &fresh, r,
                             [&](const TUbyte *, TUbyte *out, TLong n) { ConbrightRow(out, n, bpp, table); });
    imge::HandOver(src, dst, &fresh);
    return IMF_NOERROR;
}

IMF_ERROR imfGammasat(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double gamma) {
    if (!src) return IMF_ERRBADPARAMS;
    if (!imge::BitmapIsValid(src)) return IMF_ERRBADBITMAP;
    IMF_RECT r;
    if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
    if (!IsTrueColour(src)) return IMF_ERRBADBITMAP;
    if (!imge::lut::GammaIsValid(gamma)) return IMF_ERRBADPARAMS;
    imge::Scratch<TUbyte> table(256 * 256);
    if (!table.ok()) return IMF_ERRMEMORY;
    for (int m = 0; m < 256; ++m)
        for (int v = 0; v < 256; ++v)
            table[256 * m + v] = static_cast<TUbyte>(imge::lut::gammasat(m, v, gamma));
    const TUbyte *t = table.get();
    if (src->BytesPerPixel == 4)
        return imge::RunSeparate(src, dst, area, r,
                                 [&](const TUbyte *in, TUbyte *out, TLong n) { GammasatRow<4>(in, out, n, t); });
    return imge::RunSeparate(src, dst, area, r,
                             [&](const TUbyte *in, TUbyte *out, TLong n) { GammasatRow<3>(in, out, n, t); });
}

}  // extern "C"
