// The linear neighbourhood filters: the stated examples, the vector kernels
// against the plain ones over their ranges, and refusals (the random
// comparisons with the references run in fuzz_replay_test.cpp).
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "filters/linear_rows.h"
#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "reference/filters_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

using FastOp = std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *)>;

// A w x h grey bitmap filled with `value`, then the listed bytes set.
struct Pixel {
    int x, y, v;
};
void MakeGrey(OwnedImf *b, int w, int h, int value, std::initializer_list<Pixel> set = {}) {
    ASSERT_NE(imfAllock(b->get(), IMF_GREY, 1, w, h), 0);
    std::memset((*b)->Data, value, static_cast<size_t>(w) * h);
    for (const Pixel &p : set) (*b)->Data[p.y * w + p.x] = static_cast<TUbyte>(p.v);
}
int At(OwnedImf &b, int x, int y) { return b->Data[y * b->BytesPerLine + x]; }

TEST(LinearFilters, StatedSingleByteExamples) {
    using Op = std::function<IMF_ERROR(IMF_BITMAP *)>;
    struct Case {
        const char *name;
        int background, centre, want;
        Op op;
    };
    const Case cases[] = {
        {"sharpen 50", 80, 100, 120, [](IMF_BITMAP *b) { return imfSharpen(b, nullptr, nullptr, 50); }},
        {"sharpen 100 above mean by 3", 80, 83, 255, [](IMF_BITMAP *b) { return imfSharpen(b, nullptr, nullptr, 100); }},
        {"sharpen 100 flat", 80, 80, 0, [](IMF_BITMAP *b) { return imfSharpen(b, nullptr, nullptr, 100); }},
        {"sharpen 0", 80, 100, 100, [](IMF_BITMAP *b) { return imfSharpen(b, nullptr, nullptr, 0); }},
        {"blur 100", 0, 255, 5, [](IMF_BITMAP *b) { return imfBlur(b, nullptr, nullptr, 100); }},
        {"blur 0", 0, 255, 185, [](IMF_BITMAP *b) { return imfBlur(b, nullptr, nullptr, 0); }},
        {"soften 100", 0, 255, 7, [](IMF_BITMAP *b) { return imfSoften(b, nullptr, nullptr, 100); }},  // 25*255/825
        {"edge 100", 80, 100, 255, [](IMF_BITMAP *b) { return imfEdge(b, nullptr, nullptr, 100); }},
        {"edge 50", 80, 100, 105, [](IMF_BITMAP *b) { return imfEdge(b, nullptr, nullptr, 50); }},
        {"edge 0", 80, 100, 102, [](IMF_BITMAP *b) { return imfEdge(b, nullptr, nullptr, 0); }},
        {"edge detect medium flat", 90, 90, 128,
         [](IMF_BITMAP *b) { return imfConvolveIndex(b, nullptr, nullptr, IMF_FilterEdgeDetectMedium); }},
        {"enhance detail flat", 77, 77, 77, [](IMF_BITMAP *b) { return imfEnhanceDetail(b, nullptr, nullptr); }},
        {"reduce noise centre", 0, 255, 119, [](IMF_BITMAP *b) { return imfReduceNoise(b, nullptr, nullptr); }},
    };
    for (const Case &c : cases) {
        OwnedImf b;
        MakeGrey(&b, 5, 5, c.background, {{2, 2, c.centre}});
        ASSERT_EQ(c.op(b.get()), IMF_NOERROR) << c.name;
        EXPECT_EQ(At(b, 2, 2), c.want) << c.name;
    }
}

TEST(LinearFilters, ReduceNoiseSpreadsABrightPixelOverTheCross) {
    OwnedImf b;
    MakeGrey(&b, 7, 7, 0, {{3, 3, 255}});
    ASSERT_EQ(imfReduceNoise(b.get(), nullptr, nullptr), IMF_NOERROR);
    EXPECT_EQ(At(b, 3, 3), 119);
    for (auto [x, y] : {std::pair{2, 3}, {4, 3}, {3, 2}, {3, 4}}) EXPECT_EQ(At(b, x, y), 51);
    for (auto [x, y] : {std::pair{1, 3}, {5, 3}, {3, 1}, {3, 5}, {2, 2}}) EXPECT_EQ(At(b, x, y), 0);
}

TEST(LinearFilters, EmbossClampsANegativeSumAfterTheBias) {
    OwnedImf b;
    MakeGrey(&b, 3, 3, 50, {{0, 0, 200}, {2, 2, 10}});
    ASSERT_EQ(imfEmboss(b.get(), nullptr, nullptr), IMF_NOERROR);
    EXPECT_EQ(At(b, 1, 1), 0);  // 10 - 200 + 128 = -62
    // Every edge-detect and emboss kernel gives 128 on a flat area, the
    // others the area's own value.
    for (int index = 0; index <= 8; ++index) {
        OwnedImf f;
        MakeGrey(&f, 4, 3, 61);
        ASSERT_EQ(imfConvolveIndex(f.get(), nullptr, nullptr, index), IMF_NOERROR);
        for (int i = 0; i < 12; ++i) ASSERT_EQ(f->Data[i], index >= 4 ? 128 : 61) << index;
    }
}

TEST(LinearFilters, EdgeAtTheFirstColumnSeesTheRepeatedColumn) {
    OwnedImf b;
    MakeGrey(&b, 4, 3, 80, {{0, 0, 100}, {0, 1, 100}, {0, 2, 100}});
    ASSERT_EQ(imfEdge(b.get(), nullptr, nullptr, 100), IMF_NOERROR);
    for (int y = 0; y < 3; ++y) EXPECT_EQ(At(b, 0, y), 160);
}

TEST(LinearFilters, UserKernelExamples) {
    IMG_FILTER add10{};
    add10.Size = 1;
    add10.Matrix[0] = 1;
    add10.Divisor = 1;
    add10.Bias = 10;
    OwnedImf b;
    MakeGrey(&b, 3, 1, 0, {{0, 0, 0}, {1, 0, 250}, {2, 0, 245}});
    ASSERT_EQ(imfConvolve(b.get(), nullptr, nullptr, &add10), IMF_NOERROR);
    EXPECT_EQ(At(b, 0, 0), 10);
    EXPECT_EQ(At(b, 1, 0), 255);
    EXPECT_EQ(At(b, 2, 0), 255);

    // A negative divisor turns the quotient's sign before the bias: 3 * 100 / -3 + 200.
    IMG_FILTER neg{};
    neg.Size = 3;
    neg.Matrix[4] = 3;
    neg.Divisor = -3;
    neg.Bias = 200;
    OwnedImf c;
    MakeGrey(&c, 3, 3, 100);
    ASSERT_EQ(imfConvolve(c.get(), nullptr, nullptr, &neg), IMF_NOERROR);
    EXPECT_EQ(At(c, 1, 1), 100);

    // A 3 x 3 kernel packed with stride 3: entries 0..8, not a 7-wide grid.
    IMG_FILTER shift{};
    shift.Size = 3;
    shift.Matrix[5] = 1;  // slot 1 (the row itself), column x + 1
    shift.Divisor = 1;
    OwnedImf d;
    MakeGrey(&d, 3, 1, 0, {{0, 0, 1}, {1, 0, 2}, {2, 0, 3}});
    ASSERT_EQ(imfConvolve(d.get(), nullptr, nullptr, &shift), IMF_NOERROR);
    EXPECT_EQ(At(d, 0, 0), 2);
    EXPECT_EQ(At(d, 1, 0), 3);
    EXPECT_EQ(At(d, 2, 0), 3);
}

TEST(LinearFilters, BoxDivisionByMultiplyAndShiftIsExact) {
    for (uint32_t n = 2; n <= 15; ++n) {
        const uint32_t d = n * n;
        const uint64_t magic = imge::filters::DivisionMagic(d);
        for (uint32_t v = 0; v <= 255 * d; ++v) ASSERT_EQ((v * magic) >> 32, v / d) << d << " " << v;
    }
}

}  // namespace
