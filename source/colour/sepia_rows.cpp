// Plain sepia rows.
#include "colour/sepia_rows.h"

namespace imge {
namespace colour {

namespace {
inline IMG_UINT8 AtMost255(int v) { return static_cast<IMG_UINT8>(v > 255 ? 255 : v); }
inline IMG_UINT8 AtLeast0(int v) { return static_cast<IMG_UINT8>(v < 0 ? 0 : v); }
}  // namespace

void SepiaRowPlain(IMG_UINT8 *p, IMG_INT32 n, int bpp, const RgbPositions &pos, const SepiaTone &t) {
    for (IMG_INT32 x = 0; x < n; ++x, p += bpp) {
        IMG_UINT8 &r = p[pos.r], &g = p[pos.g], &b = p[pos.b];
        if (t.kind == SepiaTone::kBlendTint) {
            const int s = r + g + b;
            const int nr = static_cast<IMG_UINT8>(static_cast<int>(r * t.c1 + s * t.c2));
            const int ng = static_cast<IMG_UINT8>(static_cast<int>(g * t.c1 + s * t.c2));
            const int nb = static_cast<IMG_UINT8>(static_cast<int>(b * t.c1 + s * t.c2));
            r = AtLeast0(nr - t.red);
            g = AtLeast0(ng - t.green);
            b = AtLeast0(nb - t.blue);
            continue;
        }
        const int grey = COLOR2GREY(r, g, b);
        if (t.kind == SepiaTone::kWarm) {
            r = AtMost255(grey + t.red);
            g = AtMost255(grey + t.green);
            b = AtMost255(grey + t.blue);
        } else {
            r = AtLeast0(grey - t.red);
            g = AtLeast0(grey - t.green);
            b = AtLeast0(grey - t.blue);
        }
    }
}

}  // namespace colour
}  // namespace imge
