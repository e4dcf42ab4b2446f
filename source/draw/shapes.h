// Filled and outlined circles, and the polygon scanline fill.
#pragma once

#include <cstdint>

#include "libimg.h"

namespace imge {
namespace draw {

// Midpoint circle: the filled interior (solid spans).
void DrawFillCircleColor(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t radius, const IMG_UINT8 *color);
// Midpoint circle: eight pen prints per step, each at pattern position 0.
void DrawCircleColor(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t radius, IMG_UINT32 line_width,
                     const IMG_UINT8 *color, IMG_UINT32 style);
// Even-odd scanline fill (an edge counts at its lower end, not its upper one).
// IMG_ERROR_NO_MEMORY when the work array cannot be had.
IMG_ERROR DrawFillPolygon(IMG_BITMAP *b, const IMG_POINT *points, int32_t num_points, const IMG_UINT8 *color);

}  // namespace draw
}  // namespace imge
