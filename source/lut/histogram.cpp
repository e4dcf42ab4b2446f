// The histogram passes and the exported histogram functions.
#include "lut/histogram.h"

#include <cstring>

#include "core/bitmap_check.h"
#include "core/scratch.h"
#include "libformat.h"
#include "lut/luma_rows.h"
#include "libtools.h"
#include "pixel_types.h"

namespace imge {
namespace {

// Positions of R, G, B by type, for the exported histograms (CMYK and RGB:
// 0, 1, 2).
struct Rgb { int r, g, b; };
Rgb RgbPositions(unsigned type) {
    switch (type) {
        case IMF_BGR: case IMF_BGRA: return {2, 1, 0};
        case IMF_ABGR: return {3, 2, 1};
        case IMF_ARGB: return {1, 2, 3};
        default: return {0, 1, 2};
    }
}

inline const TUbyte *Row(const IMF_BITMAP *b, TLong y) {
    return b->Data + static_cast<long long>(y) * b->BytesPerLine;
}

// One-byte pixels: two interleaved counter sets break the dependency between
// neighbouring equal bytes, then they are summed.
void CountPlane(const IMF_BITMAP *b, TUlong *hist) {
    TUlong second[256] = {0};
    const TLong w = b->Width;
    for (TLong y = 0; y < b->Height; ++y) {
        const TUbyte *p = Row(b, y);
        TLong x = 0;
        for (; x + 1 < w; x += 2) {
            ++hist[p[x]];
            ++second[p[x + 1]];
        }
        if (x < w) ++hist[p[x]];
    }
    for (int v = 0; v < 256; ++v) hist[v] += second[v];
}

// Multi-byte pixels: neighbouring pixels of a photograph often share values,
// so even and odd pixels count into separate sets (no chain of increments on
// one counter), summed at the end.
template <int kBpp, int kChannels>
void CountPixels(const IMF_BITMAP *b, TUlong *hist) {
    Scratch<TUlong> second(4 * 256, true);
    TUlong *other = second.ok() ? second.get() : hist;
    const TLong w = b->Width;
    for (TLong y = 0; y < b->Height; ++y) {
        const TUbyte *p = Row(b, y);
        TLong x = 0;
        for (; x + 1 < w; x += 2, p += 2 * kBpp)
            for (int k = 0; k < kChannels; ++k) {
                ++hist[256 * k + p[k]];
                ++other[256 * k + p[kBpp + k]];
            }
        if (x < w)
            for (int k = 0; k < kChannels; ++k) ++hist[256 * k + p[k]];
    }
    if (other != hist)
        for (int i = 0; i < 4 * 256; ++i) hist[i] += other[i];
}

// Colour pixels: each row's luminance into a byte row (vectors), then
// counted in two sets like a plane.
void CountLuma(const IMF_BITMAP *b, const Rgb &o, TUlong *hist) {
    Scratch<TUbyte> luma(static_cast<std::size_t>(b->Width) + 1);
    Scratch<TUlong> second(256, true);
    if (!luma.ok() || !second.ok()) {  // short of memory: pixel by pixel
        for (TLong y = 0; y < b->Height; ++y) {
            const TUbyte *p = Row(b, y);
            for (TLong x = 0; x < b->Width; ++x, p += b->BytesPerPixel) ++hist[COLOR2GREY(p[o.r], p[o.g], p[o.b])];
        }
        return;
    }
    TUbyte *l = luma.get();
    TUlong *other = second.get();
    const TLong w = b->Width;
    for (TLong y = 0; y < b->Height; ++y) {
        LumaRow(Row(b, y), static_cast<std::size_t>(w), b->BytesPerPixel, o.r, o.g, o.b, l);
        TLong x = 0;
        for (; x + 1 < w; x += 2) {
            ++hist[l[x]];
            ++other[l[x + 1]];
        }
        if (x < w) ++hist[l[x]];
    }
    for (int v = 0; v < 256; ++v) hist[v] += other[v];
}

}  // namespace

void CreateHistogram(const IMF_BITMAP *b, TUlong *hist, int channels) {
    std::memset(hist, 0, 4 * 256 * sizeof(TUlong));
    const int bpp = b->BytesPerPixel;
    if (bpp == 1) return CountPlane(b, hist);
    if (bpp == 3) {
        if (channels >= 3) return CountPixels<3, 3>(b, hist);
        if (channels == 2) return CountPixels<3, 2>(b, hist);
        return CountPixels<3, 1>(b, hist);
    }
    switch (channels) {
        case 4: return CountPixels<4, 4>(b, hist);
        case 3: return CountPixels<4, 3>(b, hist);
        case 2: return CountPixels<4, 2>(b, hist);
        default: return CountPixels<4, 1>(b, hist);
    }
}

void CountLuminance(const IMF_BITMAP *b, TUlong *hist) {
    std::memset(hist, 0, 256 * sizeof(TUlong));
    const Rgb o = RgbPositions(b->Type);
    switch (b->BytesPerPixel) {
        case 1: return CountPlane(b, hist);
        default: return CountLuma(b, o, hist);
    }
}

}  // namespace imge

extern "C" {

// Binary bitmaps count each pixel as level 0 (bit clear) or 255 (bit set).
// An inconsistent record leaves the histogram cleared.
void imfCreateHistogramOnLuminance(const IMF_BITMAP *bitmap, TUlong hist[256]) {
    if (!hist) return;
    std::memset(hist, 0, 256 * sizeof(TUlong));
    if (!imge::BitmapIsValid(bitmap)) return;
    if (bitmap->Type == IMF_BINARY) {
        for (TLong y = 0; y < bitmap->Height; ++y) {
            const TUbyte *row = bitmap->Data + static_cast<long long>(y) * bitmap->BytesPerLine;
            for (TLong x = 0; x < bitmap->Width; ++x) ++hist[imfGetBitAtBuffer(row, x) ? 255 : 0];
        }
        return;
    }
    imge::CountLuminance(bitmap, hist);
}

// 1-bit bitmaps (BitsPerComponent 1, or binary) get a single count at entry
// 0 of each array. An inconsistent record leaves the histogram cleared.
void imfCreateAllHistogram(const IMF_BITMAP *bitmap, TUlong hist[4 * 256]) {
    if (!hist) return;
    std::memset(hist, 0, 4 * 256 * sizeof(TUlong));
    if (!imge::BitmapIsValid(bitmap)) return;
    if (bitmap->BitsPerComponent == 1 || bitmap->Type == IMF_BINARY) {
        for (int k = 0; k < 4; ++k) hist[256 * k] = 1;
        return;
    }
    imge::CountLuminance(bitmap, hist);
    if (bitmap->BytesPerPixel <= 2) return;
    const imge::Rgb o = imge::RgbPositions(bitmap->Type);
    TUlong channels[4 * 256];
    imge::CreateHistogram(bitmap, channels, bitmap->BytesPerPixel);
    std::memcpy(hist + 256, channels + 256 * o.r, 256 * sizeof(TUlong));
    std::memcpy(hist + 512, channels + 256 * o.g, 256 * sizeof(TUlong));
    std::memcpy(hist + 768, channels + 256 * o.b, 256 * sizeof(TUlong));
}

}  // extern "C"
