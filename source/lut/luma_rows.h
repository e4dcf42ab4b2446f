// Luminance of a row of colour pixels, (77 R + 150 G + 29 B) >> 8.
#pragma once

#include <cstddef>
#include <cstdint>

namespace imge {
namespace lut {

// out[i] = luminance of pixel i of the n pixels of bpp (3 or 4) bytes at p,
// with red, green and blue at byte positions r, g, b. Vectors where the
// machine has them; identical bytes either way.
void LumaRow(const uint8_t *p, std::size_t n, int bpp, int r, int g, int b, uint8_t *out);

// The plain loop.
void LumaRowPlain(const uint8_t *p, std::size_t n, int bpp, int r, int g, int b, uint8_t *out);

}  // namespace lut
}  // namespace imge
