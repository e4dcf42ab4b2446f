// Lines, polylines, points, rectangles, circles and polygons: the pixels of
// small shapes (huge coordinates and both origins are compared with the
// drawing reference in the drawing harness).
#include <gtest/gtest.h>

#include <cstdint>

#include "draw_canvas.h"
#include "libimge.h"

using draw_test::Canvas;
using draw_test::kWhite;
using Rows = std::vector<std::string>;

namespace {

Rows Line(int w, int h, int x0, int y0, int x1, int y1, IMG_UINT32 width = 1, IMG_UINT32 style = 0) {
    Canvas c(w, h);
    EXPECT_EQ(imgDrawLineColor(c.b, x0, y0, x1, y1, width, &kWhite, style, nullptr), IMG_NO_ERROR);
    return c.Rows();
}

}  // namespace

TEST(DrawLine, SinglePoints) {
    EXPECT_EQ(Line(6, 6, 3, 4, 3, 4), (Rows{"......", "......", "......", "......", "...#..", "......"}));
    for (IMG_UINT32 s = 1; s <= 4; ++s) EXPECT_EQ(Line(6, 6, 3, 4, 3, 4, 1, s), Line(6, 6, 0, 0, 0, 0, 1, 1));
    EXPECT_EQ(Line(6, 6, 3, 4, 3, 4, 1, 1)[4], "......");
}

TEST(DrawLine, HorizontalSolidAndDashed) {
    EXPECT_EQ(Line(10, 10, 0, 0, 9, 0)[0], "##########");
    EXPECT_EQ(Line(10, 10, 0, 0, 9, 0, 1, IMG_LINE_STYLE_DASH)[0], "......####");
    EXPECT_EQ(Line(10, 10, 9, 0, 0, 0, 1, IMG_LINE_STYLE_DASH)[0], "####......");
    // A longer dash: off 0-5, on 6-23, off 24-29, on 30-.
    EXPECT_EQ(Line(40, 1, 0, 0, 39, 0, 1, IMG_LINE_STYLE_DASH)[0], "......##################......##########");
    EXPECT_EQ(Line(30, 1, 0, 0, 29, 0, 1, IMG_LINE_STYLE_DOT)[0], "...###...###...###...###...###");
    EXPECT_EQ(Line(30, 1, 0, 0, 29, 0, 1, IMG_LINE_STYLE_DASHDOT)[0], "......###......#########......");
    EXPECT_EQ(Line(30, 1, 0, 0, 29, 0, 1, IMG_LINE_STYLE_DASHDOTDOT)[0], "...###...###...#########...###");
}

TEST(DrawLine, StepperRows) {
    // x-major (0,0)-(9,3): inc 2730, rows 0,0,1,1,1,2,2,2,3,3.
    EXPECT_EQ(Line(10, 4, 0, 0, 9, 3), (Rows{"##........", "..###.....", ".....###..", "........##"}));
    EXPECT_EQ(Line(4, 4, 0, 0, 3, 3), (Rows{"#...", ".#..", "..#.", "...#"}));
    // The same segment from its other end: rows 3,3,2,2,2,1,1,1,0,0 from column 9 down.
    EXPECT_EQ(Line(10, 4, 9, 3, 0, 0), (Rows{"##........", "..###.....", ".....###..", "........##"}));
}

TEST(DrawLine, Clipping) {
    Rows r = Line(10, 10, -5, 5, 5, 5, 1, IMG_LINE_STYLE_SOLID);
    EXPECT_EQ(r[5], "######....");
    // Pattern position 0 is the clipped start (column 0).
    EXPECT_EQ(Line(20, 10, -5, 5, 15, 5, 1, IMG_LINE_STYLE_DASH)[5], "......##########....");
    EXPECT_EQ(Canvas(1, 1).Count(), 0);
    // A segment clipped down to one point is plotted at its unclipped start:
    // a wide pen centred above the canvas only reaches into its first row.
    const Rows tip = Line(10, 10, 3, -4, 3, 0, 9);
    EXPECT_EQ(tip[0], "..###.....");
    for (int y = 1; y < 10; ++y) EXPECT_EQ(tip[y], "..........") << y;
    for (auto seg : {std::vector<int>{20, 20, 30, 5}, {5, -5, -3, 0}, {-3, -3, -1, -1}, {10, 0, 10, 9}}) {
        Rows rows = Line(10, 10, seg[0], seg[1], seg[2], seg[3]);
        for (auto &row : rows) EXPECT_EQ(row, "..........") << seg[0] << "," << seg[1];
    }
}

TEST(DrawLine, WidthsAndStyles) {
    // Width 3 with a dot style draws solid with the plus-shaped brush.
    EXPECT_EQ(Line(7, 5, 1, 2, 5, 2, 3, IMG_LINE_STYLE_DOT), (Rows{".......", ".#####.", "#######", ".#####.", "......."}));
    EXPECT_EQ(Line(5, 3, 0, 1, 4, 1, 14, IMG_LINE_STYLE_SOLID), (Rows{".....", "#####", "....."}));
}

TEST(DrawPolyline, SegmentsRestartTheirPattern) {
    const IMG_POINT pts[3] = {{0, 0}, {5, 0}, {5, 5}};
    Canvas c(6, 6);
    ASSERT_EQ(imgDrawPolylineColor(c.b, pts, 3, 1, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(c.Rows(), (Rows{"######", ".....#", ".....#", ".....#", ".....#", ".....#"}));
    const IMG_POINT long_pts[3] = {{0, 0}, {9, 0}, {9, 9}};
    Canvas d(10, 10);
    ASSERT_EQ(imgDrawPolylineColor(d.b, long_pts, 3, 1, &kWhite, IMG_LINE_STYLE_DASH, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(d.Rows()[0], "......####");
    EXPECT_EQ(d.Rows()[5], ".........."); // position 5 of the second segment
    EXPECT_EQ(d.Rows()[6], ".........#");
}

TEST(DrawPoint, BrushPrintAlwaysSolid) {
    Canvas c(5, 5);
    ASSERT_EQ(imgDrawPointColor(c.b, 2, 2, 3, &kWhite, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(c.Rows(), (Rows{".....", "..#..", ".###.", "..#..", "....."}));
    Canvas off(5, 5);
    ASSERT_EQ(imgDrawPointColor(off.b, -1, 7, 1, &kWhite, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(off.Count(), 0);
}

TEST(DrawRectangle, FillAndOutline) {
    Canvas f(8, 6);
    ASSERT_EQ(imgDrawRectangleColor(f.b, 2, 3, 4, 2, &kWhite, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(f.Rows(), (Rows{"........", "........", "........", "..####..", "..####..", "........"}));
    Canvas o(8, 8);
    ASSERT_EQ(imgDrawRectangleColor(o.b, 1, 1, 5, 4, nullptr, 1, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(o.Rows(), (Rows{"........", ".#####..", ".#...#..", ".#...#..", ".#####..", "........", "........",
                              "........"}));
    Canvas one(4, 4), two(4, 4), neg(6, 6);
    imgDrawRectangleColor(one.b, 2, 2, 1, 1, &kWhite, 1, nullptr, 0, nullptr);
    EXPECT_EQ(one.Rows(), (Rows{"....", "....", "..#.", "...."}));
    imgDrawRectangleColor(two.b, 2, 2, 0, 1, &kWhite, 1, nullptr, 0, nullptr);
    EXPECT_EQ(two.Rows(), (Rows{"....", "....", ".##.", "...."}));
    imgDrawRectangleColor(neg.b, 4, 4, -2, -1, &kWhite, 1, nullptr, 0, nullptr);
    // x1 = 4 - 2 - 1 = 1, y1 = 4 - 1 - 1 = 2: the corners are ordered.
    EXPECT_EQ(neg.Rows(), (Rows{"......", "......", ".####.", ".####.", ".####.", "......"}));
    Canvas huge(4, 4);
    imgDrawRectangleColor(huge.b, 1, 1, INT32_MAX, INT32_MAX, &kWhite, 1, nullptr, 0, nullptr);
    EXPECT_EQ(huge.Rows(), (Rows{"....", ".###", ".###", ".###"}));
}

TEST(DrawCircle, SmallFillsAndOutlines) {
    auto fill = [](int r) {
        Canvas c(7, 7);
        EXPECT_EQ(imgDrawCircleColor(c.b, 3, 3, r, &kWhite, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
        return c.Rows();
    };
    EXPECT_EQ(fill(0), (Rows{".......", ".......", ".......", "...#...", ".......", ".......", "......."}));
    EXPECT_EQ(fill(1), (Rows{".......", ".......", "...#...", "..###..", "...#...", ".......", "......."}));
    EXPECT_EQ(fill(2), (Rows{".......", "..###..", ".#####.", ".#####.", ".#####.", "..###..", "......."}));
    EXPECT_EQ(fill(-1), (Rows{".......", ".......", ".......", ".......", ".......", ".......", "......."}));
    Canvas o(7, 7);
    ASSERT_EQ(imgDrawCircleColor(o.b, 3, 3, 3, nullptr, 1, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(o.Rows(), (Rows{"..###..", ".#...#.", "#.....#", "#.....#", "#.....#", ".#...#.", "..###.."}));
    Canvas styled(7, 7);
    ASSERT_EQ(imgDrawCircleColor(styled.b, 3, 3, 3, nullptr, 1, &kWhite, IMG_LINE_STYLE_DOT, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(styled.Count(), 0);
    Canvas dot(3, 3);
    ASSERT_EQ(imgDrawCircleColor(dot.b, 1, 1, 0, nullptr, 1, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(dot.Count(), 1);
    Canvas big(5, 5);
    ASSERT_EQ(imgDrawCircleColor(big.b, 2, 2, 1000000, &kWhite, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(big.Count(), 25);
    // The largest radius: the bitmap lies wholly inside (filled, no outline)
    // or wholly beside the circle, without walking its octant.
    Canvas inside(5, 5), beside(5, 5);
    ASSERT_EQ(imgDrawCircleColor(inside.b, 0, 0, INT32_MAX, &kWhite, 13, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(inside.Count(), 25);
    Canvas ring(5, 5);
    ASSERT_EQ(imgDrawCircleColor(ring.b, 0, 0, INT32_MAX, nullptr, 13, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(ring.Count(), 0);
    ASSERT_EQ(imgDrawCircleColor(beside.b, INT32_MIN, INT32_MIN, INT32_MAX, &kWhite, 13, &kWhite, 0, nullptr),
              IMG_NO_ERROR);
    EXPECT_EQ(beside.Count(), 0);
}

TEST(DrawPolygon, ScanlineAndRectanglePaths) {
    const IMG_POINT tri[3] = {{0, 0}, {4, 0}, {0, 4}};
    Canvas t(5, 5);
    ASSERT_EQ(imgDrawPolygonColor(t.b, tri, 3, &kWhite, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(t.Rows(), (Rows{".....", "####.", "###..", "##...", "#...."}));

    const IMG_POINT sq1[4] = {{0, 0}, {5, 0}, {5, 5}, {0, 5}};
    const IMG_POINT sq2[4] = {{0, 5}, {5, 5}, {5, 0}, {0, 0}};
    const IMG_POINT sq3[4] = {{0, 0}, {0, 5}, {5, 5}, {5, 0}};
    const Rows full(6, "######");
    Rows scan = full;
    scan[0] = "......";
    for (auto c : {std::make_pair(sq1, full), std::make_pair(sq2, full), std::make_pair(sq3, scan)}) {
        Canvas p(6, 6);
        ASSERT_EQ(imgDrawPolygonColor(p.b, c.first, 4, &kWhite, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
        EXPECT_EQ(p.Rows(), c.second);
    }
    // Four points that are not an axis-aligned rectangle, each missing one of
    // its four conditions, go through the scanline fill: never the rectangle
    // from the first point to (second x, third y).
    const IMG_POINT near[4][4] = {{{0, 0}, {5, 0}, {5, 5}, {0, 2}}, {{0, 0}, {5, 2}, {5, 5}, {0, 5}},
                                  {{0, 0}, {5, 0}, {4, 5}, {0, 5}}, {{3, 0}, {5, 0}, {5, 5}, {0, 5}}};
    for (const auto &q : near) {
        Canvas p(6, 6);
        ASSERT_EQ(imgDrawPolygonColor(p.b, q, 4, &kWhite, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
        Rows rect(6, "......");
        for (int y = q[0].y; y <= q[2].y; ++y)
            for (int x = q[0].x; x <= q[1].x; ++x) rect[y][x] = '#';
        EXPECT_NE(p.Rows(), rect) << q[0].x << "," << q[0].y << " " << q[1].x << "," << q[1].y;
    }
    Canvas both(8, 8);
    const IMG_COLOR grey = {100, 100, 100, 0};
    const IMG_POINT sq[4] = {{1, 1}, {5, 1}, {5, 5}, {1, 5}};
    ASSERT_EQ(imgDrawPolygonColor(both.b, sq, 4, &grey, 1, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(both.b->Data[3 * both.b->BytesPerLine + 3], 100);  // fill
    EXPECT_EQ(both.b->Data[1 * both.b->BytesPerLine + 3], 255);  // outline over it

    Canvas outline(6, 6);
    const IMG_POINT tri2[3] = {{0, 0}, {5, 0}, {0, 5}};
    ASSERT_EQ(imgDrawPolygonColor(outline.b, tri2, 3, nullptr, 1, &kWhite, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(outline.Rows(), (Rows{"######", "#...#.", "#..#..", "#.#...", "##....", "#....."}));
}

