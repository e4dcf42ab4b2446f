// The public drawing functions: entry steps, then the pen and shape code.
#include "draw/draw_entry.h"
#include "draw/line.h"
#include "draw/pen.h"
#include "draw/shapes.h"
#include "libimge.h"

#include <cstdint>

using imge::draw::BeginDraw;
using imge::draw::ConvertColor;
using imge::draw::DrawSetup;

namespace {

// x0 + extent - 1, computed wide and held to the 32-bit range instead of
// wrapping: a corner beyond that range lies far outside any bitmap, and the
// rectangle's edges are axis-parallel, so holding it there changes no pixel.
IMG_INT32 FarCorner(IMG_INT32 x0, IMG_INT32 extent) {
    const int64_t v = int64_t{x0} + extent - 1;
    return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : static_cast<IMG_INT32>(v);
}

}  // namespace

extern "C" {

IMG_ERROR imgDrawPointColor(IMG_BITMAP *src, IMG_INT32 x, IMG_INT32 y, IMG_UINT32 line_width,
                            const IMG_COLOR *line_color, IMG_BITMAP **bdst) {
    DrawSetup s;
    IMG_ERROR rc = BeginDraw(src, bdst, line_width, IMG_LINE_STYLE_SOLID, true, &s);
    if (rc != IMG_NO_ERROR) return rc;
    // A null colour draws nothing, as in the polyline.
    if (!line_color) return IMG_NO_ERROR;
    IMG_UINT8 color[4];
    if ((rc = ConvertColor(s.target, line_color, color)) != IMG_NO_ERROR) return rc;
    imge::draw::PlotBrushWithClip(s.target, x, y, color, line_width, IMG_LINE_STYLE_SOLID, 0);
    return IMG_NO_ERROR;
}

IMG_ERROR imgDrawLineColor(IMG_BITMAP *src, IMG_INT32 x0, IMG_INT32 y0, IMG_INT32 x1, IMG_INT32 y1,
                           IMG_UINT32 line_width, const IMG_COLOR *line_color, IMG_LINE_STYLE line_style,
                           IMG_BITMAP **bdst) {
    DrawSetup s;
    IMG_ERROR rc = BeginDraw(src, bdst, line_width, line_style, true, &s);
    if (rc != IMG_NO_ERROR) return rc;
    if (!line_color) return IMG_NO_ERROR;
    IMG_UINT8 color[4];
    if ((rc = ConvertColor(s.target, line_color, color)) != IMG_NO_ERROR) return rc;
    imge::draw::DrawLineColor(s.target, x0, y0, x1, y1, line_width, color, s.style);
    return IMG_NO_ERROR;
}

IMG_ERROR imgDrawPolylineColor(IMG_BITMAP *src, const IMG_POINT *points, IMG_INT32 num_points,
                               IMG_UINT32 line_width, const IMG_COLOR *line_color, IMG_LINE_STYLE line_style,
                               IMG_BITMAP **bdst) {
    DrawSetup s;
    IMG_ERROR rc = BeginDraw(src, bdst, line_width, line_style, num_points >= 3 && points, &s);
    if (rc != IMG_NO_ERROR) return rc;
    if (!line_color) return IMG_NO_ERROR;
    IMG_UINT8 color[4];
    if ((rc = ConvertColor(s.target, line_color, color)) != IMG_NO_ERROR) return rc;
    imge::draw::DrawPolylineColor(s.target, points, num_points, line_width, color, s.style, false);
    return IMG_NO_ERROR;
}

IMG_ERROR imgDrawRectangleColor(IMG_BITMAP *src, IMG_INT32 x0, IMG_INT32 y0, IMG_INT32 width, IMG_INT32 height,
                                const IMG_COLOR *fill_color, IMG_UINT32 line_width, const IMG_COLOR *line_color,
                                IMG_LINE_STYLE line_style, IMG_BITMAP **bdst) {
    DrawSetup s;
    IMG_ERROR rc = BeginDraw(src, bdst, line_width, line_style, true, &s);
    if (rc != IMG_NO_ERROR) return rc;
    const IMG_INT32 x1 = FarCorner(x0, width), y1 = FarCorner(y0, height);
    IMG_UINT8 color[4];
    if (fill_color) {
        if ((rc = ConvertColor(s.target, fill_color, color)) != IMG_NO_ERROR) return rc;
        const IMG_POINT corners[2] = {{x0, y0}, {x1, y1}};
        imge::draw::DrawFillRectangle(s.target, corners, color);
    }
    if (!line_color) return IMG_NO_ERROR;
    if ((rc = ConvertColor(s.target, line_color, color)) != IMG_NO_ERROR) return rc;
    const IMG_POINT outline[4] = {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
    imge::draw::DrawPolylineColor(s.target, outline, 4, line_width, color, s.style, true);
    return IMG_NO_ERROR;
}

IMG_ERROR imgDrawCircleColor(IMG_BITMAP *src, IMG_INT32 x, IMG_INT32 y, IMG_INT32 radius,
                             const IMG_COLOR *fill_color, IMG_UINT32 line_width, const IMG_COLOR *line_color,
                             IMG_LINE_STYLE line_style, IMG_BITMAP **bdst) {
    DrawSetup s;
    IMG_ERROR rc = BeginDraw(src, bdst, line_width, line_style, true, &s);
    if (rc != IMG_NO_ERROR) return rc;
    IMG_UINT8 color[4];
    if (fill_color) {
        if ((rc = ConvertColor(s.target, fill_color, color)) != IMG_NO_ERROR) return rc;
        imge::draw::DrawFillCircleColor(s.target, x, y, radius, color);
    }
    if (line_color) {
        if ((rc = ConvertColor(s.target, line_color, color)) != IMG_NO_ERROR) return rc;
        imge::draw::DrawCircleColor(s.target, x, y, radius, line_width, color, s.style);
    }
    return IMG_NO_ERROR;
}

IMG_ERROR imgDrawPolygonColor(IMG_BITMAP *src, const IMG_POINT *points, IMG_INT32 num_points,
                              const IMG_COLOR *fill_color, IMG_UINT32 line_width, const IMG_COLOR *line_color,
                              IMG_LINE_STYLE line_style, IMG_BITMAP **bdst) {
    DrawSetup s;
    IMG_ERROR rc = BeginDraw(src, bdst, line_width, line_style, num_points >= 3 && points, &s);
    if (rc != IMG_NO_ERROR) return rc;
    IMG_UINT8 color[4];
    if (fill_color) {
        if ((rc = ConvertColor(s.target, fill_color, color)) != IMG_NO_ERROR) return rc;
        const IMG_POINT *p = points;
        if (num_points == 4 && p[0].x == p[3].x && p[1].x == p[2].x && p[0].y == p[1].y && p[2].y == p[3].y) {
            // A rectangle whose first edge is horizontal: filled border to border.
            const IMG_POINT corners[2] = {{p[0].x, p[0].y}, {p[1].x, p[2].y}};
            imge::draw::DrawFillRectangle(s.target, corners, color);
        } else if ((rc = imge::draw::DrawFillPolygon(s.target, points, num_points, color)) != IMG_NO_ERROR) {
            return rc;
        }
    }
    if (line_color) {
        if ((rc = ConvertColor(s.target, line_color, color)) != IMG_NO_ERROR) return rc;
        // The outline is closed: the last segment runs back to the first point.
        imge::draw::DrawPolylineColor(s.target, points, num_points, line_width, color, s.style, true);
    }
    return IMG_NO_ERROR;
}

}  // extern "C"
