// Sepia toning (imgSepia) and grey blend with a tint (imgSepiaEx).
#include <cstdint>

#include "colour/rgb_positions.h"
#include "libimge.h"

namespace {

// A double offset truncated toward zero to 16 bits; its low byte is used.
inline int Offset(double v) { return static_cast<uint8_t>(static_cast<int16_t>(v)); }

inline uint8_t AtMost255(int v) { return static_cast<uint8_t>(v > 255 ? 255 : v); }
inline uint8_t AtLeast0(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v); }

// Calls fn(r, g, b) with pointers to the three colour bytes of every pixel.
// The layouts are spelt out so that each loop has constant offsets and
// stride and compiles to straight-line code.
template <int R, int G, int B, int Bpp, typename PixelFn>
void ForEachPixelOf(IMG_BITMAP *b, PixelFn &fn) {
    for (IMG_INT32 y = 0; y < b->Height; ++y) {
        uint8_t *p = b->Data + static_cast<long long>(y) * b->BytesPerLine;
        for (IMG_INT32 x = 0; x < b->Width; ++x, p += Bpp) fn(p + R, p + G, p + B);
    }
}

template <typename PixelFn>
void ForEachPixel(IMG_BITMAP *b, const imge::RgbPositions &pos, PixelFn &&fn) {
    if (b->BytesPerPixel == 3 && pos.r == 0) return ForEachPixelOf<0, 1, 2, 3>(b, fn);
    if (b->BytesPerPixel == 3 && pos.r == 2) return ForEachPixelOf<2, 1, 0, 3>(b, fn);
    if (b->BytesPerPixel == 4 && pos.r == 0) return ForEachPixelOf<0, 1, 2, 4>(b, fn);
    if (b->BytesPerPixel == 4 && pos.r == 2) return ForEachPixelOf<2, 1, 0, 4>(b, fn);
    if (b->BytesPerPixel == 4 && pos.r == 1) return ForEachPixelOf<1, 2, 3, 4>(b, fn);
    if (b->BytesPerPixel == 4 && pos.r == 3) return ForEachPixelOf<3, 2, 1, 4>(b, fn);
    // Any other pixel size the record may claim.
    for (IMG_INT32 y = 0; y < b->Height; ++y) {
        uint8_t *p = b->Data + static_cast<long long>(y) * b->BytesPerLine;
        for (IMG_INT32 x = 0; x < b->Width; ++x, p += b->BytesPerPixel) fn(p + pos.r, p + pos.g, p + pos.b);
    }
}

}  // namespace

extern "C" {

// Percent outside 0..100 is refused (IMG_ERROR_BAD_PARAMETERS) before
// anything is cloned.
IMG_ERROR imgSepia(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 percent) {
    if (percent < 0 || percent > 100) return IMG_ERROR_BAD_PARAMETERS;
    IMG_BITMAP *work = nullptr;
    imge::RgbPositions pos;
    IMG_ERROR rc = imge::BeginPublicTrueColour(src, bdst, &work, &pos);
    if (rc != IMG_NO_ERROR) return rc;
    const double f = percent / 100.0;
    const int ref_red = Offset(64.0 * f), ref_green = Offset(32.0 * f), ref_blue = Offset(0.0 * f);
    ForEachPixel(work, pos, [&](uint8_t *r, uint8_t *g, uint8_t *b) {
        const int grey = COLOR2GREY(*r, *g, *b);
        *r = AtMost255(grey + ref_red);
        *g = AtMost255(grey + ref_green);
        *b = AtMost255(grey + ref_blue);
    });
    return IMG_NO_ERROR;
}

// Also refuses colour components above 255. The blend channel * c1 + sum *
// c2 takes its two products from tables: the same doubles as computing them
// per pixel, so the same truncated bytes.
IMG_ERROR imgSepiaEx(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 percent, const IMG_COLOR *color) {
    if (percent < 0 || percent > 100 || !color || color->Red > 255 || color->Green > 255 ||
        color->Blue > 255)
        return IMG_ERROR_BAD_PARAMETERS;
    IMG_BITMAP *work = nullptr;
    imge::RgbPositions pos;
    IMG_ERROR rc = imge::BeginPublicTrueColour(src, bdst, &work, &pos);
    if (rc != IMG_NO_ERROR) return rc;
    const double f = percent / 100.0;
    const int ref_red = Offset((255 - color->Red) * f), ref_green = Offset((255 - color->Green) * f),
              ref_blue = Offset((255 - color->Blue) * f);
    if (percent == 100) {
        ForEachPixel(work, pos, [&](uint8_t *r, uint8_t *g, uint8_t *b) {
            const int grey = COLOR2GREY(*r, *g, *b);
            *r = AtLeast0(grey - ref_red);
            *g = AtLeast0(grey - ref_green);
            *b = AtLeast0(grey - ref_blue);
        });
        return IMG_NO_ERROR;
    }
    const double c1 = 1.0 - f, c2 = f / 3.0;
    double channel[256], sum[766];
    for (int v = 0; v < 256; ++v) channel[v] = v * c1;
    for (int v = 0; v < 766; ++v) sum[v] = v * c2;
    ForEachPixel(work, pos, [&](uint8_t *pr, uint8_t *pg, uint8_t *pb) {
        const int s = *pr + *pg + *pb;
        const int r = static_cast<uint8_t>(static_cast<int>(channel[*pr] + sum[s]));
        const int g = static_cast<uint8_t>(static_cast<int>(channel[*pg] + sum[s]));
        const int b = static_cast<uint8_t>(static_cast<int>(channel[*pb] + sum[s]));
        *pr = AtLeast0(r - ref_red);
        *pg = AtLeast0(g - ref_green);
        *pb = AtLeast0(b - ref_blue);
    });
    return IMG_NO_ERROR;
}

}  // extern "C"
