// A tiny built-in 5 x 7 bitmap font (upper-case letters, digits and a few
// signs; lower-case letters are drawn as upper case) for labels on RGB
// bitmaps. Each glyph takes 6 x 8 pixels times `scale`.
#pragma once

#include <string>

#include "libimg.h"

namespace imge {
namespace tool {

constexpr int kGlyphW = 6, kGlyphH = 8;

int TextWidth(const std::string &text, int scale = 1);
// Draws `text` with its top-left corner at (x, y) onto an RGB bitmap,
// clipped to the bitmap.
void DrawText(IMG_BITMAP &rgb, int x, int y, const std::string &text, const IMG_UINT8 color[3], int scale = 1);

}  // namespace tool
}  // namespace imge
