// Plain reference of the drawing code: the pen, the stepper, the shapes, as
// written, pixel by pixel and in 32-bit arithmetic. Only valid for inputs
// whose products fit 32 bits (the tests keep to those when comparing).
// Colours are pixel arrays (null: that part is not drawn); `style` is the
// style actually drawn with (the public functions force solid for widths of
// 2 and more before they get here).
#pragma once

#include <cstdint>

#include "libimg.h"

namespace reference {

void PlotWithClip(IMG_BITMAP *b, int32_t x, int32_t y, const IMG_UINT8 *color, uint32_t style, int32_t pos);
void PlotBrushWithClip(IMG_BITMAP *b, int32_t x, int32_t y, const IMG_UINT8 *color, uint32_t size, uint32_t style,
                       int32_t pos);
void DrawHorizontalLine(IMG_BITMAP *b, int32_t x, int32_t y, int32_t xe, const IMG_UINT8 *color);
void DrawLineColor(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t width,
                   const IMG_UINT8 *color, uint32_t style);
// The same formulas in 64-bit arithmetic: the oracle for huge coordinates
// (polygon coordinates within +-2^30 so that the crossing products fit).
void DrawLineColorWide(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t width,
                       const IMG_UINT8 *color, uint32_t style);
void DrawPolygonWide(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, const IMG_UINT8 *fill, uint32_t width,
                     const IMG_UINT8 *line, uint32_t style);
void DrawPolylineColor(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, uint32_t width, const IMG_UINT8 *color,
                       uint32_t style);
void DrawRectangle(IMG_BITMAP *b, int32_t x0, int32_t y0, int32_t w, int32_t h, const IMG_UINT8 *fill, uint32_t width,
                   const IMG_UINT8 *line, uint32_t style);
void DrawCircle(IMG_BITMAP *b, int32_t xc, int32_t yc, int32_t r, const IMG_UINT8 *fill, uint32_t width,
                const IMG_UINT8 *line, uint32_t style);
void DrawPolygon(IMG_BITMAP *b, const IMG_POINT *points, int32_t n, const IMG_UINT8 *fill, uint32_t width,
                 const IMG_UINT8 *line, uint32_t style);

}  // namespace reference
