// Row kernels of the channel operations: a plain loop per operation and a
// vector one (channel_rows_hwy.cpp) giving the same bytes. The dispatching
// entries take the plain loop when the scalar path is forced.
#pragma once

#include <cstdint>

#include "libimg.h"

namespace imge {
namespace colour {

// Bytes 0..2 of each pixel become (min + max) >> 1 of them; byte 3 of a
// 4-byte pixel is copied.
void DesaturateRow(const TUbyte *in, TUbyte *out, TLong n, int bpp);
void DesaturateRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp);

// out[x] = byte `pos` of pixel x.
void ExtractRow(const TUbyte *in, TUbyte *out, TLong n, int bpp, int pos);
void ExtractRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp, int pos);

// The five permutations of bytes 0..2 (mode 0..4); byte 3 copied.
void SwapPixelBytes(const TUbyte *in, TUbyte *out, TUlong mode);
void SwapRow(const TUbyte *in, TUbyte *out, TLong n, int bpp, int mode);
void SwapRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp, int mode);

// Byte shuffles of whole vectors, per 16-byte block. Three-byte pixels:
// output block byte j at row phase p comes from the load two bytes before
// the block (three[mode][p][0], index 0x80 where the other load serves) or
// from the load two bytes after it (three[mode][p][1]). Four-byte pixels:
// four[mode] within the block.
struct SwapIndexTable {
    TUbyte three[5][3][2][64];
    TUbyte four[5][64];
};
extern const SwapIndexTable kSwapBlockIndex;

// Source byte index feeding new byte k under `mode`.
constexpr int8_t kSwapFrom[5][3] = {{0, 2, 1}, {2, 1, 0}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}};
constexpr int SwapSource(int mode, int k) { return kSwapFrom[mode][k]; }

}  // namespace colour
}  // namespace imge
