// Clipped segments walked with a fixed-point stepper, and polylines.
#pragma once

#include <cstdint>

#include "libimg.h"

namespace imge {
namespace draw {

// Fractional scale of the stepper's minor coordinate (13 bits).
constexpr int64_t kDdaScale = 8192;

// The segment (x0, y0)-(x1, y1), both ends included, clipped to the bitmap.
void DrawLineColor(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t x1, int32_t y1, IMG_UINT32 line_width,
                   const IMG_UINT8 *color, IMG_UINT32 style);

// Segments points[i-1]-points[i] for i = 1..num_points-1; with `closed`, also
// the segment from the last point back to the first.
void DrawPolylineColor(IMG_BITMAP *b, const IMG_POINT *points, int32_t num_points, IMG_UINT32 line_width,
                       const IMG_UINT8 *color, IMG_UINT32 style, bool closed);

}  // namespace draw
}  // namespace imge
