// The pen: style table, brush shapes and clipped plotting (spans and
// rectangles are compared with the drawing reference in the drawing harness).
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

