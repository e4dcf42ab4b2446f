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

namespace {
// Three-byte pixels: byte o + j of a row (o the vector's start, phase
// p = o % 3) takes source byte o + j + d; the load at o - 2 holds it while
// j + d <= 13, else the load at o + 2. Block i of a vector starts 16 * i
// bytes on, one phase step later.
constexpr SwapIndexTable MakeSwapIndexTable() {
    SwapIndexTable t{};
    for (int mode = 0; mode < 5; ++mode)
        for (int p = 0; p < 3; ++p)
            for (int b = 0; b < 64; ++b) {
                const int j = b % 16, k = (p + b / 16 + j) % 3;
                const int from = j + SwapSource(mode, k) - k;
                const bool early = from <= 13;
                t.three[mode][p][0][b] = static_cast<TUbyte>(early ? from + 2 : 0x80);
                t.three[mode][p][1][b] = static_cast<TUbyte>(early ? 0x80 : from - 2);
            }
    for (int mode = 0; mode < 5; ++mode)
        for (int b = 0; b < 64; ++b) {
            const int k = b % 4;
            t.four[mode][b] = static_cast<TUbyte>(b % 16 - k + (k < 3 ? SwapSource(mode, k) : 3));
        }
    return t;
}
}  // namespace

constexpr SwapIndexTable kSwapBlockIndex = MakeSwapIndexTable();

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
