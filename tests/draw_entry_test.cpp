// The entry steps of the drawing functions: refusals leave everything as it
// was (no clone, no pixel), clones go into *bdst, null colours draw nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "draw_canvas.h"
#include "libimge.h"

using draw_test::Canvas;
using draw_test::kWhite;

namespace {

const IMG_POINT kTri[3] = {{0, 0}, {4, 0}, {0, 4}};

// Every drawing function with a given bitmap, points, count, style and bdst.
using Call = std::function<IMG_ERROR(IMG_BITMAP *, const IMG_POINT *, IMG_INT32, IMG_UINT32, IMG_BITMAP **)>;
struct Named {
    const char *name;
    Call call;
    bool takes_points;
};

const Named kCalls[] = {
    {"point", [](IMG_BITMAP *b, const IMG_POINT *, IMG_INT32, IMG_UINT32, IMG_BITMAP **d) {
         return imgDrawPointColor(b, 1, 1, 1, &kWhite, d); }, false},
    {"line", [](IMG_BITMAP *b, const IMG_POINT *, IMG_INT32, IMG_UINT32 s, IMG_BITMAP **d) {
         return imgDrawLineColor(b, 0, 0, 4, 4, 1, &kWhite, s, d); }, false},
    {"polyline", [](IMG_BITMAP *b, const IMG_POINT *p, IMG_INT32 n, IMG_UINT32 s, IMG_BITMAP **d) {
         return imgDrawPolylineColor(b, p, n, 1, &kWhite, s, d); }, true},
    {"rectangle", [](IMG_BITMAP *b, const IMG_POINT *, IMG_INT32, IMG_UINT32 s, IMG_BITMAP **d) {
         return imgDrawRectangleColor(b, 0, 0, 3, 3, &kWhite, 1, &kWhite, s, d); }, false},
    {"circle", [](IMG_BITMAP *b, const IMG_POINT *, IMG_INT32, IMG_UINT32 s, IMG_BITMAP **d) {
         return imgDrawCircleColor(b, 2, 2, 2, &kWhite, 1, &kWhite, s, d); }, false},
    {"polygon", [](IMG_BITMAP *b, const IMG_POINT *p, IMG_INT32 n, IMG_UINT32 s, IMG_BITMAP **d) {
         return imgDrawPolygonColor(b, p, n, &kWhite, 1, &kWhite, s, d); }, true},
};

IMG_BITMAP *const kSentinel = reinterpret_cast<IMG_BITMAP *>(0x1234);

}  // namespace

TEST(DrawEntry, CloneIntoDestinationLeavesSourceAlone) {
    for (const auto &f : kCalls) {
        Canvas a(6, 6);
        IMG_BITMAP *dst = a.b;  // a clone is made even when *bdst holds src
        ASSERT_EQ(f.call(a.b, kTri, 3, 0, &dst), IMG_NO_ERROR) << f.name;
        ASSERT_NE(dst, nullptr);
        ASSERT_NE(dst, a.b);
        EXPECT_EQ(a.Count(), 0) << f.name;
        Canvas view(1, 1);
        std::swap(view.b, dst);
        imgFreeBitmap(dst);  // the 1 x 1 placeholder
        EXPECT_GT(view.Count(), 0) << f.name;
    }
}

TEST(DrawEntry, NullColoursDrawNothing) {
    Canvas a(6, 6);
    EXPECT_EQ(imgDrawPointColor(a.b, 1, 1, 3, nullptr, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(imgDrawLineColor(a.b, 0, 0, 5, 5, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(imgDrawPolylineColor(a.b, kTri, 3, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(imgDrawRectangleColor(a.b, 0, 0, 4, 4, nullptr, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(imgDrawCircleColor(a.b, 2, 2, 2, nullptr, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(imgDrawPolygonColor(a.b, kTri, 3, nullptr, 1, nullptr, 0, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(a.Count(), 0);
    // With bdst the clone is still made.
    IMG_BITMAP *dst = nullptr;
    EXPECT_EQ(imgDrawLineColor(a.b, 0, 0, 5, 5, 1, nullptr, 0, &dst), IMG_NO_ERROR);
    ASSERT_NE(dst, nullptr);
    imgFreeBitmap(dst);
}

TEST(DrawEntry, RefusedColourFailsWhereItIsConverted) {
    // A colour-mapped bitmap without palette entries: the base library refuses colours.
    Canvas a(6, 6, IMG_TOP_LEFT, IMG_COLORS);
    a.b->ColorUsed = 0;
    IMG_BITMAP *dst = nullptr;
    EXPECT_EQ(imgDrawLineColor(a.b, 0, 0, 5, 5, 1, &kWhite, 0, &dst), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_NE(dst, nullptr);  // the clone belongs to the caller
    imgFreeBitmap(dst);
    EXPECT_EQ(imgDrawCircleColor(a.b, 2, 2, 2, &kWhite, 1, nullptr, 0, nullptr), IMG_ERROR_BAD_PARAMETERS);
    // A negative radius still converts the colours.
    EXPECT_EQ(imgDrawCircleColor(a.b, 2, 2, -1, nullptr, 1, &kWhite, 0, nullptr), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_EQ(imgDrawPolygonColor(a.b, kTri, 3, nullptr, 1, &kWhite, 0, nullptr), IMG_ERROR_BAD_PARAMETERS);
}
