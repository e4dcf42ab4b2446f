// Plain luminance rows.
#include "lut/luma_rows.h"

namespace imge {
namespace lut {

void LumaRowPlain(const uint8_t *p, std::size_t n, int bpp, int r, int g, int b, uint8_t *out) {
    for (std::size_t i = 0; i < n; ++i, p += bpp)
        out[i] = static_cast<uint8_t>((77 * p[r] + 150 * p[g] + 29 * p[b]) >> 8);
}

}  // namespace lut
}  // namespace imge
