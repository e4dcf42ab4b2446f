#include "colour/channel_rows.h"

#include <algorithm>

namespace imge {
namespace colour {

void DesaturateRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp) {
    for (TLong x = 0; x < n; ++x, in += bpp, out += bpp) {
        const int hi = std::max({in[0], in[1], in[2]});
        const int lo = std::min({in[0], in[1], in[2]});
        out[0] = out[1] = out[2] = static_cast<TUbyte>((lo + hi) >> 1);
        if (bpp == 4) out[3] = in[3];
    }
}

void ExtractRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp, int pos) {
    in += pos;
    for (TLong x = 0; x < n; ++x, in += bpp) out[x] = *in;
}

void SwapPixelBytes(const TUbyte *in, TUbyte *out, TUlong mode) {
    const int m = static_cast<int>(mode);
    const TUbyte a = in[SwapSource(m, 0)], b = in[SwapSource(m, 1)], c = in[SwapSource(m, 2)];
    out[0] = a;
    out[1] = b;
    out[2] = c;
}

void SwapRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp, int mode) {
    const int s0 = SwapSource(mode, 0), s1 = SwapSource(mode, 1), s2 = SwapSource(mode, 2);
    for (TLong x = 0; x < n; ++x, in += bpp, out += bpp) {
        out[0] = in[s0];
        out[1] = in[s1];
        out[2] = in[s2];
        if (bpp == 4) out[3] = in[3];
    }
}

}  // namespace colour
}  // namespace imge
