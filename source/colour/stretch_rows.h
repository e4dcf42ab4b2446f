// Row kernel of the shadow and highlight stretch: a plain loop and a vector
// one (stretch_rows_hwy.cpp) giving the same bytes.
#pragma once

#include <cstdint>

#include "libimg.h"

namespace imge {
namespace colour {

constexpr int kShadowTop = 79;         // luminance up to here: shadow
constexpr int kHighlightBottom = 177;  // from here: highlight

// The stretched value of every byte for shadow and for highlight pixels.
struct StretchTables {
    TUbyte dark[256];
    TUbyte bright[256];
};

// n pixels of bpp (3 or 4) bytes from `in` to `out` (the same pointer works
// in place): bytes 0..2 through `dark` when the luminance of bytes 0, 1, 2
// (byte 0 weighted as red) is at most kShadowTop, through `bright` when it is
// at least kHighlightBottom, else copied; byte 3 copied.
void StretchRow(const TUbyte *in, TUbyte *out, TLong n, int bpp, const StretchTables &t);
void StretchRowPlain(const TUbyte *in, TUbyte *out, TLong n, int bpp, const StretchTables &t);

}  // namespace colour
}  // namespace imge
