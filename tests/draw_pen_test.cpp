// The pen: style table, brush shapes, clipped plotting, spans and rectangles.
#include <gtest/gtest.h>

#include <cstring>

#include "draw/pen.h"
#include "draw_canvas.h"
#include "libimge.h"

using draw_test::Canvas;
using draw_test::kWhiteBytes;
using Rows = std::vector<std::string>;
namespace dr = imge::draw;

TEST(DrawPen, StyleTableRuns) {
    // Positions 0..23, '1' drawn, as the table of styles reads.
    const char *expected[5] = {"111111111111111111111111", "000000111111111111111111", "000111000111000111000111",
                               "000000111000000111111111", "000111000111000111111111"};
    for (IMG_UINT32 s = 0; s < dr::kStyleCount; ++s) {
        std::string got;
        for (int p = 0; p < 24; ++p) got += dr::StyleAllows(s, p) ? '1' : '0';
        EXPECT_EQ(got, expected[s]) << "style " << s;
        for (int p = 0; p < 24; ++p) EXPECT_EQ(dr::StyleAllows(s, p), dr::StyleAllows(s, p + 48));
    }
}

TEST(DrawPen, BrushTableLengths) {
    const size_t lengths[13] = {1, 4, 9, 12, 25, 30, 49, 64, 81, 100, 121, 144, 169};
    for (int i = 0; i < 13; ++i) EXPECT_EQ(std::strlen(dr::TableOfBrush[i].pattern), lengths[i]) << "size " << i + 1;
}

struct BrushCase {
    IMG_UINT32 size;
    Rows rows;  // 7 x 7 canvas, brush centred on (3, 3)
};

TEST(DrawPen, BrushShapes) {
    const Rows dot = {".......", ".......", ".......", "...#...", ".......", ".......", "......."};
    const BrushCase cases[] = {
        {0, dot},
        {1, dot},
        {14, dot},
        {1000, dot},
        {2, {".......", ".......", "..##...", "..##...", ".......", ".......", "......."}},
        {3, {".......", ".......", "...#...", "..###..", "...#...", ".......", "......."}},
        {4, {".......", "..##...", ".####..", "..##...", ".......", ".......", "......."}},
        {5, {".......", "..###..", ".#####.", ".#####.", ".#####.", "..###..", "......."}},
    };
    for (const auto &c : cases) {
        Canvas a(7, 7), p(7, 7);
        dr::PlotBrushWithClip(a.b, 3, 3, kWhiteBytes, c.size, 0, 0);
        EXPECT_EQ(a.Rows(), c.rows) << "size " << c.size;
        dr::PlotBrush(p.b, 3, 3, kWhiteBytes, c.size, 0, 0);
        EXPECT_EQ(p.Rows(), c.rows) << "unclipped, size " << c.size;
    }
}

TEST(DrawPen, BrushAtTheBorderKeepsItsInsidePixels) {
    Canvas a(4, 4);
    dr::PlotBrushWithClip(a.b, 0, 0, kWhiteBytes, 5, 0, 0);
    EXPECT_EQ(a.Rows(), (Rows{"###.", "###.", "##..", "...."}));
    Canvas far(4, 4);
    dr::PlotBrushWithClip(far.b, -100, 2000000000, kWhiteBytes, 13, 0, 0);
    EXPECT_EQ(far.Count(), 0);
}

TEST(DrawPen, StyledBrushIsTestedAtPositionZero) {
    Canvas a(7, 7);
    dr::PlotBrushWithClip(a.b, 3, 3, kWhiteBytes, 3, IMG_LINE_STYLE_DASH, 10);
    EXPECT_EQ(a.Count(), 0);
    dr::PlotWithClip(a.b, 3, 3, kWhiteBytes, IMG_LINE_STYLE_DASH, 10);
    EXPECT_EQ(a.Count(), 1);
    dr::PlotWithClip(a.b, 4, 3, kWhiteBytes, IMG_LINE_STYLE_DASH, 24 + 5);
    EXPECT_EQ(a.Count(), 1);
}

TEST(DrawPen, BottomOriginWritesTheLastBufferRow) {
    Canvas a(3, 4, IMG_BOTTOM_LEFT);
    dr::PlotWithClip(a.b, 1, 0, kWhiteBytes, 0, 0);
    EXPECT_EQ(a.b->Data[3 * a.b->BytesPerLine + 1], 255);
    dr::DrawHorizontalLine(a.b, 0, 1, 2, kWhiteBytes);
    for (int x = 0; x < 3; ++x) EXPECT_EQ(a.b->Data[2 * a.b->BytesPerLine + x], 255);
}

TEST(DrawPen, HorizontalLineClipping) {
    struct Case {
        int64_t x, y, xe;
        std::string row2;
        int count;
    } cases[] = {
        {-5, 2, 5 + 10, "#####", 5}, {-5, 2, -1, ".....", 0}, {5, 2, 9, ".....", 0}, {3, 2, 1, ".....", 0},
        {1, 2, 3, ".###.", 3},       {4, 2, 4, "....#", 1},   {0, -1, 4, ".....", 0}, {0, 5, 4, ".....", 0},
    };
    for (const auto &c : cases) {
        Canvas a(5, 5);
        dr::DrawHorizontalLine(a.b, c.x, c.y, c.xe, kWhiteBytes);
        EXPECT_EQ(a.Rows()[2], c.row2) << c.x << " " << c.y << " " << c.xe;
        EXPECT_EQ(a.Count(), c.count);
    }
}

TEST(DrawPen, HorizontalLineOnEveryPixelSize) {
    for (IMG_BITMAP_TYPE t : {IMG_GREY, IMG_RGB, IMG_RGBA, IMG_CMYK}) {
        Canvas a(6, 2, IMG_TOP_LEFT, t);
        const IMG_UINT8 color[4] = {1, 2, 3, 4};
        dr::DrawHorizontalLine(a.b, 1, 1, 4, color);
        const int bpp = a.b->BytesPerPixel;
        for (int x = 0; x < 6; ++x)
            for (int k = 0; k < bpp; ++k)
                EXPECT_EQ(a.b->Data[a.b->BytesPerLine + x * bpp + k], (x >= 1 && x <= 4) ? color[k] : 0);
    }
}

TEST(DrawPen, MinMaxAndFilledRectangle) {
    const IMG_POINT pts[2] = {{5, 1}, {2, 3}};
    IMG_POINT lo, hi;
    dr::GetMinMax(&lo, &hi, pts);
    EXPECT_EQ(lo.x, 2);
    EXPECT_EQ(lo.y, 1);
    EXPECT_EQ(hi.x, 5);
    EXPECT_EQ(hi.y, 3);
    Canvas a(7, 5);
    dr::DrawFillRectangle(a.b, pts, kWhiteBytes);
    EXPECT_EQ(a.Rows(), (Rows{".......", "..####.", "..####.", "..####.", "......."}));
    Canvas one(4, 4);
    const IMG_POINT same[2] = {{2, 3}, {2, 3}};
    dr::DrawFillRectangle(one.b, same, kWhiteBytes);
    EXPECT_EQ(one.Rows(), (Rows{"....", "....", "....", "..#."}));
    Canvas all(4, 4);
    const IMG_POINT huge[2] = {{INT32_MIN, INT32_MAX}, {INT32_MAX, INT32_MIN}};
    dr::DrawFillRectangle(all.b, huge, kWhiteBytes);
    EXPECT_EQ(all.Count(), 16);
}
