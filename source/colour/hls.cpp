// imgAdjustHLS: every pixel of a true-colour bitmap to hue, lightness and
// saturation, shifted, and back.
#include "colour/hls.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "colour/rgb_positions.h"
#include "core/scratch.h"
#include "libimge.h"

namespace imge {
namespace colour {

void rgb2hls(double r, double g, double b, double *h, double *l, double *s) {
    // Channels are never NaN: plain comparisons give what fmax and fmin give.
    const double mx = std::max(std::max(r, g), std::max(g, b));
    const double mn = std::min(std::min(r, g), std::min(g, b));
    *l = (mx + mn) * 0.5;
    if (mx == mn) {
        *s = 0.0;
        *h = 0.0;
        return;
    }
    const double delta = mx - mn;
    *s = *l <= 0.5 ? delta / (mx + mn) : delta / (2.0 - mx - mn);
    double hue;
    if (r == mx) hue = (g - b) / delta;
    else if (g == mx) hue = 2.0 + (b - r) / delta;
    else hue = 4.0 + (r - g) / delta;
    hue *= 60.0;
    while (hue < 0.0) hue += 360.0;
    *h = hue;
}

// Brings the hue into 0..360 by whole turns (360 itself stays 360). Far
// outside that range one fmod does what the repeated subtraction does: every
// step of it is exact for hues below 2^55, far beyond what the increments
// can reach, so the result is the same double.
double hls_value(double n1, double n2, double hue) {
    if (hue > 720.0) {
        hue = std::fmod(hue, 360.0);
        if (hue == 0.0) hue = 360.0;
    } else if (hue < -720.0) {
        hue = std::fmod(hue, 360.0);
    }
    while (hue > 360.0) hue -= 360.0;
    while (hue < 0.0) hue += 360.0;
    if (hue < 60.0) return n1 + (n2 - n1) * hue / 60.0;
    if (hue < 180.0) return n2;
    if (hue < 240.0) return n1 + (n2 - n1) * (240.0 - hue) / 60.0;
    return n1;
}

void hls2rgb(double h, double l, double s, double *r, double *g, double *b) {
    const double m2 = l <= 0.5 ? l * (1.0 + s) : l + s - l * s;
    const double m1 = 2 * l - m2;
    if (s == 0.0) {
        *r = *g = *b = l;
        return;
    }
    *r = hls_value(m1, m2, h + 120.0);
    *g = hls_value(m1, m2, h);
    *b = hls_value(m1, m2, h - 120.0);
}

namespace {
inline double Clamp01(double v) { return v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v; }
// Truncated toward zero, low byte kept.
inline unsigned char ToByte(double v) { return static_cast<unsigned char>(static_cast<int>(v * 255.0)); }
}  // namespace

void AdjustHlsPixel(unsigned char r, unsigned char g, unsigned char b, const HlsIncrements &inc,
                    unsigned char out[3]) {
    double h, l, s;
    rgb2hls(r / 255.0, g / 255.0, b / 255.0, &h, &l, &s);
    if (inc.h_increment) h = h + inc.h;
    if (inc.l_increment) l = Clamp01(l + inc.l);
    if (inc.s_increment) s = Clamp01(s + inc.s);
    double rr, gg, bb;
    hls2rgb(h, l, s, &rr, &gg, &bb);
    out[0] = ToByte(rr);
    out[1] = ToByte(gg);
    out[2] = ToByte(bb);
}

}  // namespace colour
}  // namespace imge

namespace {

// Results of recent colours: neighbouring pixels of photographs repeat their
// colour often, and the conversion is the whole cost. A small direct-mapped
// cache keyed by the 24-bit colour gives the same bytes as converting again.
struct HlsCache {
    static constexpr uint32_t kSlots = 1u << 16;
    imge::Scratch<uint64_t> slot;  // (colour + 1) | result << 32; 0: empty
    bool Allocate() { return slot.Allocate(kSlots, true); }
    static uint32_t Slot(uint32_t c) { return (c * 2654435761u) >> 16; }
};

}  // namespace

extern "C" {

IMG_ERROR imgAdjustHLS(IMG_BITMAP *src, IMG_BITMAP **bdst, IMG_INT32 h_increment,
                       IMG_INT32 l_increment, IMG_INT32 s_increment) {
    IMG_BITMAP *work = nullptr;
    imge::colour::RgbPositions pos;
    IMG_ERROR rc = imge::colour::BeginPublicTrueColour(src, bdst, &work, &pos);
    if (rc != IMG_NO_ERROR) return rc;
    const imge::colour::HlsIncrements inc{h_increment, l_increment, s_increment, h_increment * 3.6,
                                  l_increment / 100.0, s_increment / 100.0};
    const int bpp = work->BytesPerPixel;
    // Vectors whenever the hue reaches its range in a few turns.
    constexpr IMG_INT32 kVectorHueLimit = 1000;  // at most about a dozen turns
    if (imge::colour::HlsRowsInVectors() && h_increment >= -kVectorHueLimit && h_increment <= kVectorHueLimit) {
        double unit[256];
        for (int v = 0; v < 256; ++v) unit[v] = v / 255.0;
        for (IMG_INT32 y = 0; y < work->Height; ++y)
            imge::colour::AdjustHlsRow(work->Data + static_cast<long long>(y) * work->BytesPerLine, work->Width, bpp, pos.r,
                               pos.g, pos.b, inc, unit);
        return IMG_NO_ERROR;
    }
    HlsCache cache;
    const bool cached = cache.Allocate();  // without it every pixel is converted
    for (IMG_INT32 y = 0; y < work->Height; ++y) {
        unsigned char *p = work->Data + static_cast<long long>(y) * work->BytesPerLine;
        for (IMG_INT32 x = 0; x < work->Width; ++x, p += bpp) {
            unsigned char out[3];
            const uint32_t c = uint32_t{p[pos.r]} | uint32_t{p[pos.g]} << 8 | uint32_t{p[pos.b]} << 16;
            if (cached) {
                uint64_t &entry = cache.slot[HlsCache::Slot(c)];
                if (static_cast<uint32_t>(entry) != c + 1) {
                    imge::colour::AdjustHlsPixel(p[pos.r], p[pos.g], p[pos.b], inc, out);
                    const uint32_t v = uint32_t{out[0]} | uint32_t{out[1]} << 8 | uint32_t{out[2]} << 16;
                    entry = (c + 1) | uint64_t{v} << 32;
                }
                const uint32_t v = static_cast<uint32_t>(entry >> 32);
                out[0] = static_cast<unsigned char>(v);
                out[1] = static_cast<unsigned char>(v >> 8);
                out[2] = static_cast<unsigned char>(v >> 16);
            } else {
                imge::colour::AdjustHlsPixel(p[pos.r], p[pos.g], p[pos.b], inc, out);
            }
            p[pos.r] = out[0];
            p[pos.g] = out[1];
            p[pos.b] = out[2];
        }
    }
    return IMG_NO_ERROR;
}

}  // extern "C"
