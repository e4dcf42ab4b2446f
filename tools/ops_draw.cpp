// Drawing: points, lines, polylines, rectangles, circles and polygons, with
// the pen (width, colour, dash style) given on the command line.
#include "op_table.h"

namespace imge {
namespace tool {

namespace {

const char *const kStyles = "solid=0|dash=1|dot=2|dashdot=3|dashdotdot=4";

// The pen every drawing row shares: width, outline colour ("none": no
// outline) and dash style (one-pixel pens only; wider pens are solid).
std::vector<Param> Pen(const std::string &line_default, std::vector<Param> shape) {
    shape.push_back(IntP("width", 1, 1, 64, "pen width in pixels (round brushes up to 13)"));
    shape.push_back(ColorP("color", line_default, "outline colour, or none"));
    shape.push_back(ChoiceP("style", "solid", kStyles, "dash style of one-pixel pens"));
    return shape;
}

IMG_UINT32 Width(const Args &a) { return static_cast<IMG_UINT32>(a.Int("width")); }
IMG_LINE_STYLE Style(const Args &a) { return static_cast<IMG_LINE_STYLE>(a.Int("style")); }
IMG_INT32 I(const Args &a, const char *name) { return static_cast<IMG_INT32>(a.Int(name)); }
IMG_INT32 Count(const std::vector<IMG_POINT> &p) { return static_cast<IMG_INT32>(p.size()); }

const long kFar = 1000000;  // coordinates may lie far outside the bitmap

}  // namespace

std::vector<Op> DrawOps() {
    return {
        Public("draw-point", "Draws one point with the pen's round brush",
               {Required(IntP("x", 0, -kFar, kFar, "column")), Required(IntP("y", 0, -kFar, kFar, "row")),
                IntP("width", 1, 1, 64, "brush width in pixels"), ColorP("color", "white", "colour")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgDrawPointColor(s, I(a, "x"), I(a, "y"), Width(a), a.ColorOrNull("color"), d);
               },
               "--x 160 --y 120 --width 13 --color #ff2000"),
        Public("draw-line", "Draws a line from (x0, y0) to (x1, y1)",
               Pen("white", {Required(IntP("x0", 0, -kFar, kFar, "start column")),
                             Required(IntP("y0", 0, -kFar, kFar, "start row")),
                             Required(IntP("x1", 0, -kFar, kFar, "end column")),
                             Required(IntP("y1", 0, -kFar, kFar, "end row"))}),
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgDrawLineColor(s, I(a, "x0"), I(a, "y0"), I(a, "x1"), I(a, "y1"), Width(a),
                                           a.ColorOrNull("color"), Style(a), d);
               },
               "--x0 10 --y0 230 --x1 310 --y1 10 --width 5 --color #ffe000"),
        Public("draw-polyline", "Draws connected segments through the points",
               Pen("white", {Required(PointsP("points", "", 2, "the points in order (at least 2)"))}),
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   const std::vector<IMG_POINT> &p = a.Points("points");
                   return imgDrawPolylineColor(s, p.data(), Count(p), Width(a), a.ColorOrNull("color"), Style(a),
                                               d);
               },
               "--points \"20,200 80,40 160,180 240,60 300,200\" --color #00ffff --style dash"),
        Public("draw-rectangle", "Draws a rectangle, filled and/or outlined",
               Pen("white", {Required(IntP("x", 0, -kFar, kFar, "left column")),
                             Required(IntP("y", 0, -kFar, kFar, "top row")),
                             Required(IntP("w", 0, -kFar, kFar, "width")),
                             Required(IntP("h", 0, -kFar, kFar, "height")),
                             ColorP("fill", "none", "fill colour, or none")}),
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgDrawRectangleColor(s, I(a, "x"), I(a, "y"), I(a, "w"), I(a, "h"), a.ColorOrNull("fill"),
                                                Width(a), a.ColorOrNull("color"), Style(a), d);
               },
               "--x 60 --y 50 --w 200 --h 140 --fill #3060c0 --width 4 --color white"),
        Public("draw-circle", "Draws a circle around (x, y), filled and/or outlined",
               Pen("white", {Required(IntP("x", 0, -kFar, kFar, "centre column")),
                             Required(IntP("y", 0, -kFar, kFar, "centre row")),
                             Required(IntP("radius", 0, 0, kFar, "radius in pixels")),
                             ColorP("fill", "none", "fill colour, or none")}),
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgDrawCircleColor(s, I(a, "x"), I(a, "y"), I(a, "radius"), a.ColorOrNull("fill"),
                                             Width(a), a.ColorOrNull("color"), Style(a), d);
               },
               "--x 160 --y 120 --radius 90 --fill #ff8000 --width 6 --color #202020"),
        Public("draw-polygon", "Draws a closed polygon, filled and/or outlined",
               Pen("white", {Required(PointsP("points", "", 3, "the corners in order (at least 3)")),
                             ColorP("fill", "none", "fill colour, or none")}),
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   const std::vector<IMG_POINT> &p = a.Points("points");
                   return imgDrawPolygonColor(s, p.data(), Count(p), a.ColorOrNull("fill"), Width(a),
                                              a.ColorOrNull("color"), Style(a), d);
               },
               "--points \"160,15 290,220 30,220\" --fill #ff8000 --width 3 --color #000000"),
    };
}

}  // namespace tool
}  // namespace imge
