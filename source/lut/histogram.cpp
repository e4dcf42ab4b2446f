// The histogram passes and the exported histogram functions.
#include "lut/histogram.h"

#include <cstdint>
#include <cstring>

#include "core/bitmap_check.h"
#include "core/scratch.h"
#include "libformat.h"
#include "lut/luma_rows.h"
#include "libtools.h"
#include "records/pixel_types.h"

namespace imge {
namespace lut {
namespace {

// Positions of R, G, B by type, for the exported histograms (CMYK and RGB:
// 0, 1, 2).
struct Rgb { int r, g, b; };
Rgb RgbPositions(unsigned type) {
    imge::records::RgbOrder o;
    if (!imge::records::RgbOrderOf(type, &o)) return {0, 1, 2};
    return {o.r, o.g, o.b};
}

inline const TUbyte *Row(const IMF_BITMAP *b, TLong y) {
    return b->Data + static_cast<long long>(y) * b->BytesPerLine;
}

// Bytes of one histogram counted two at a time: each pair of neighbouring
// bytes is one increment among 65 536 counters (they stay in the
// second-level cache), and both bytes of every pair go to the histogram at
// the end. Half the increments of counting bytes one by one, which is what
// a histogram pass costs (equalising 12 M grey pixels: 7.6 -> 6.8 ms).
// Short of memory, every byte is counted on its own.
class ByteCounter {
public:
    void Add(const TUbyte *p, TLong n) {
        TLong x = 0;
        if (pairs_.ok())
            for (; x + 1 < n; x += 2) ++pairs_[p[x] | p[x + 1] << 8];
        for (; x < n; ++x) ++singles_[p[x]];
    }
    void AddTo(TUlong *hist) const {
        if (pairs_.ok())
            for (std::size_t j = 0; j < kPairs; ++j) {
                hist[j & 255] += pairs_[j];
                hist[j >> 8] += pairs_[j];
            }
        for (int v = 0; v < 256; ++v) hist[v] += singles_[v];
    }

private:
    static constexpr std::size_t kPairs = 65536;
    Scratch<TUlong> pairs_{kPairs, true};
    TUlong singles_[256] = {};
};

void CountPlane(const IMF_BITMAP *b, TUlong *hist) {
    ByteCounter counter;
    for (TLong y = 0; y < b->Height; ++y) counter.Add(Row(b, y), b->Width);
    counter.AddTo(hist);
}

// Pixels of three or four channels: bytes 0 and 1 of a pixel counted as one
// 16-bit pair in 65 536 counters (they stay in the second-level cache) and
// summed into their two histograms at the end, so a pixel costs two
// increments instead of three or four; byte 2 alone in two interleaved sets,
// or with byte 3 as a second pair. Pixels are read as 8-byte words (four
// 3-byte pixels in one 8-byte and one 4-byte word). Returns false when the
// counters cannot be allocated. (36 M bytes of RGB: 8.9 instead of 10.1 ms.)
template <int kBpp, int kChannels>
bool CountInPairs(const IMF_BITMAP *b, TUlong *hist) {
    static_assert(kChannels >= 3 && kChannels <= kBpp && kBpp <= 4, "three or four channels");
    constexpr std::size_t kPairs = 65536;
    constexpr bool kSecondPair = kChannels == 4;
    Scratch<TUlong> pairs((kSecondPair ? 2 : 1) * kPairs, true);
    if (!pairs.ok()) return false;
    TUlong *low = pairs.get(), *high = low + kPairs;
    TUlong third[2][256] = {};
    // The byte order of the words is the machine's: little-endian only.
    constexpr bool kWords = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    const TLong w = b->Width;
    for (TLong y = 0; y < b->Height; ++y) {
        const TUbyte *p = Row(b, y);
        TLong x = 0;
        if (kWords && kBpp == 3) {
            for (; x + 4 <= w; x += 4, p += 12) {
                uint64_t a;
                uint32_t c;
                std::memcpy(&a, p, 8);
                std::memcpy(&c, p + 8, 4);
                ++low[a & 0xFFFF];
                ++third[0][(a >> 16) & 0xFF];
                ++low[(a >> 24) & 0xFFFF];
                ++third[1][(a >> 40) & 0xFF];
                ++low[(a >> 48) & 0xFFFF];
                ++third[0][c & 0xFF];
                ++low[(c >> 8) & 0xFFFF];
                ++third[1][c >> 24];
            }
        } else if (kWords) {
            for (; x + 2 <= w; x += 2, p += 8) {
                uint64_t a;
                std::memcpy(&a, p, 8);
                ++low[a & 0xFFFF];
                ++low[(a >> 32) & 0xFFFF];
                if (kSecondPair) {
                    ++high[(a >> 16) & 0xFFFF];
                    ++high[a >> 48];
                } else {
                    ++third[0][(a >> 16) & 0xFF];
                    ++third[1][(a >> 48) & 0xFF];
                }
            }
        }
        for (; x < w; ++x, p += kBpp) {
            ++low[p[0] | p[1] << 8];
            if (kSecondPair) ++high[p[2] | p[3] << 8];
            else ++third[0][p[2]];
        }
    }
    for (std::size_t j = 0; j < kPairs; ++j) {
        hist[j & 255] += low[j];
        hist[256 + (j >> 8)] += low[j];
        if (kSecondPair) {
            hist[512 + (j & 255)] += high[j];
            hist[768 + (j >> 8)] += high[j];
        }
    }
    if (!kSecondPair)
        for (int v = 0; v < 256; ++v) hist[512 + v] += third[0][v] + third[1][v];
    return true;
}

// Multi-byte pixels (one or two channels counted, or too little memory for
// the pairs): neighbouring pixels of a photograph often share values,
// so even and odd pixels count into separate sets (no chain of increments on
// one counter), summed at the end.
template <int kBpp, int kChannels>
void CountPixels(const IMF_BITMAP *b, TUlong *hist) {
    if constexpr (kChannels >= 3)
        if (CountInPairs<kBpp, kChannels>(b, hist)) return;
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
// counted in two interleaved sets (counting the luminance in pairs, as a
// plane is, measured no faster here).
void CountLuma(const IMF_BITMAP *b, const Rgb &o, TUlong *hist) {
    Scratch<TUbyte> luma(static_cast<std::size_t>(b->Width) + 1);
    if (!luma.ok()) {  // short of memory: pixel by pixel
        for (TLong y = 0; y < b->Height; ++y) {
            const TUbyte *p = Row(b, y);
            for (TLong x = 0; x < b->Width; ++x, p += b->BytesPerPixel) ++hist[COLOR2GREY(p[o.r], p[o.g], p[o.b])];
        }
        return;
    }
    TUlong other[256] = {};
    const TUbyte *l = luma.get();
    const TLong w = b->Width;
    for (TLong y = 0; y < b->Height; ++y) {
        LumaRow(Row(b, y), static_cast<std::size_t>(w), b->BytesPerPixel, o.r, o.g, o.b, luma.get());
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

}  // namespace lut
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
    imge::lut::CountLuminance(bitmap, hist);
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
    imge::lut::CountLuminance(bitmap, hist);
    if (bitmap->BytesPerPixel <= 2) return;
    const imge::lut::Rgb o = imge::lut::RgbPositions(bitmap->Type);
    TUlong channels[4 * 256];
    imge::lut::CreateHistogram(bitmap, channels, bitmap->BytesPerPixel);
    std::memcpy(hist + 256, channels + 256 * o.r, 256 * sizeof(TUlong));
    std::memcpy(hist + 512, channels + 256 * o.g, 256 * sizeof(TUlong));
    std::memcpy(hist + 768, channels + 256 * o.b, 256 * sizeof(TUlong));
}

}  // extern "C"
