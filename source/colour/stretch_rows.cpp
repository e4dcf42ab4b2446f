// Plain shadow and highlight stretch rows.
#include "colour/stretch_rows.h"

namespace imge {
namespace colour {

namespace {
template <int Bpp>
void StretchPixels(const TUbyte *in, TUbyte *out, TLong n, const StretchTables &t) {
    for (TLong x = 0; x < n; ++x, in += Bpp, out += Bpp) {
        const int luma = COLOR2GREY(in[0], in[1], in[2]);
        const TUbyte *table = luma <= kShadowTop ? t.dark : luma >= kHighlightBottom ? t.bright : nullptr;
        const TUbyte c0 = in[0], c1 = in[1], c2 = in[2];
        out[0] = table ? table[c0] : c0;
        out[1] = table ? table[c1] : c1;
        out[2] = table ? table[c2] : c2;
        if (Bpp == 4) out[3] = in[3];
    }
}
}  // namespace

void StretchRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp, const StretchTables &t) {
    if (bpp == 3) StretchPixels<3>(in, out, n, t);
    else StretchPixels<4>(in, out, n, t);
}

}  // namespace colour
}  // namespace imge
