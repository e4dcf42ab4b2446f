// Table operations: negative and a caller's look-up table.
#include <cmath>

#include "op_table.h"

namespace imge {
namespace tool {

namespace {

// The 256-entry table of a piecewise-linear curve through the points (x
// ascending 0..255; before the first and after the last point the curve is
// flat), rounded to nearest.
void CurveTable(const std::vector<IMG_POINT> &pts, TUbyte table[256]) {
    for (int v = 0; v < 256; ++v) {
        size_t k = 0;
        while (k + 1 < pts.size() && pts[k + 1].x <= v) ++k;
        long y;
        if (v <= pts.front().x) y = pts.front().y;
        else if (k + 1 >= pts.size()) y = pts.back().y;
        else {
            const IMG_POINT a = pts[k], b = pts[k + 1];
            y = std::lround(a.y + (b.y - a.y) * static_cast<double>(v - a.x) / (b.x - a.x));
        }
        table[v] = static_cast<TUbyte>(y < 0 ? 0 : y > 255 ? 255 : y);
    }
}

void CheckCurve(const Args &a) {
    const std::vector<IMG_POINT> &pts = a.Points("curve");
    for (size_t k = 0; k < pts.size(); ++k)
        if (pts[k].x < 0 || pts[k].x > 255 || pts[k].y < 0 || pts[k].y > 255 || (k && pts[k].x <= pts[k - 1].x))
            throw ToolError{"--curve: points must lie in 0..255 with ascending inputs"};
}

}  // namespace

std::vector<Op> LutOps() {
    return {
        Public("negative", "Inverts every component (every bit of a binary bitmap)", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgNegative(s, d); }),
        WithCheck(Processing("apply-lut", "Maps every component through a curve (a look-up table of 256 entries)",
                   {PointsP("curve", "0,0 255,255", 2,
                            "curve points in,out (0..255, in ascending); straight lines between them")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       TUbyte table[256];
                       CurveTable(a.Points("curve"), table);
                       return imfApplyLut(s, d, nullptr, table);
                   },
                   "--curve \"0,0 64,40 192,215 255,255\""),
                  CheckCurve),
    };
}

}  // namespace tool
}  // namespace imge
