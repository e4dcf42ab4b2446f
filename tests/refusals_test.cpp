// Refusals of the processing operations in one table: a bad type, a bad
// parameter or an area outside the bitmap gives its code, in place and with a
// destination, and changes nothing (source pixels, palette, no destination).
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

TEST(Refusals, CodeAndNothingChanged) {
    const double nan = std::nan("");
    const IMF_RECT out{3, 0, 7, 5};
    IMG_FILTER good{};
    good.Size = 3;
    good.Matrix[4] = 1;
    good.Divisor = 1;
    IMG_FILTER size0 = good, size8 = good, div0 = good;
    size0.Size = 0;
    size8.Size = 8;
    div0.Divisor = 0;
    using Op = std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *)>;
    struct Case { const char *name; unsigned type; IMF_ERROR want; Op op; };
    const IMF_ERROR bitmap = IMF_ERRBADBITMAP, params = IMF_ERRBADPARAMS;
    const Case cases[] = {
        {"binary convolve", IMF_BINARY, bitmap, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, &good); }},
        {"binary average", IMF_BINARY, bitmap, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAverage(s, d, nullptr, 1); }},
        {"binary emboss", IMF_BINARY, bitmap, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfEmboss(s, d, nullptr); }},
        {"filter size 0", IMF_RGB, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, &size0); }},
        {"filter size 8", IMF_RGB, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, &size8); }},
        {"divisor 0", IMF_GREY, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, &div0); }},
        {"no filter", IMF_GREY, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, nullptr); }},
        {"index -1", IMF_COLORS, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolveIndex(s, d, nullptr, -1); }},
        {"index 9", IMF_RGBA, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolveIndex(s, d, nullptr, 9); }},
        {"blur 101", IMF_BGR, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBlur(s, d, nullptr, 101); }},
        {"soften 126", IMF_CMYK, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSoften(s, d, nullptr, 126); }},
        {"edge 102", IMF_ARGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfEdge(s, d, nullptr, 102); }},
        {"average 1", IMF_GREY, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAverage(s, d, nullptr, 1); }},
        {"average 16", IMF_GREY, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAverage(s, d, nullptr, 16); }},
        {"average area", IMF_GREY, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAverage(s, d, &out, 3); }},
        {"binary minimum", IMF_BINARY, bitmap, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMinimum(s, d, nullptr, 3); }},
        {"minimum 1", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMinimum(s, d, nullptr, 1); }},
        {"maximum 16", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMaximum(s, d, nullptr, 16); }},
        {"median box INT_MIN", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMedianBox(s, d, nullptr, INT_MIN); }},
        {"median cross INT_MAX", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMedianCross(s, d, nullptr, INT_MAX); }},
        {"median cross area", IMF_GREY, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfMedianCross(s, d, &out, 3); }},
        {"gaussian 1", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBlurGaussian(s, d, nullptr, 1); }},
        {"gaussian 26", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBlurGaussian(s, d, nullptr, 26); }},
        {"binary brightness", IMF_BINARY, bitmap, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBrightness(s, d, nullptr, 5); }},
        {"binary gamma, bad too", IMF_BINARY, bitmap, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfGamma(s, d, nullptr, -1); }},
        {"posterize 1", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfPosterize(s, d, nullptr, 1); }},
        {"posterize 257", IMF_RGBA, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfPosterize(s, d, nullptr, 257); }},
        {"gamma 0", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfGamma(s, d, nullptr, 0.0); }},
        {"gamma nan", IMF_BGR, params, [nan](IMF_BITMAP *s, IMF_BITMAP *d) { return imfGamma(s, d, nullptr, nan); }},
        {"adjust gamma 0", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAdjust(s, d, nullptr, 0, 0, 0.0); }},
        {"adjust contrast 128", IMF_RGB, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAdjust(s, d, nullptr, 0, 128, 1.0); }},
        {"contrast -128", IMF_CMYK, params, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfContrast(s, d, nullptr, -128); }},
        {"brightness area", IMF_RGB, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBrightness(s, d, &out, 9); }},
        {"adjust area", IMF_RGB, params, [&](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAdjust(s, d, &out, 9, 9, 1.5); }},
    };
    std::mt19937 rng(12);
    for (const Case &c : cases)
        for (bool with_dst : {false, true}) {
            OwnedImf src, before, dst;
            testing_support::MakeRandom(rng, c.type, 6, 5, 2, &src);
            testing_support::Clone(*src.get(), &before);
            TUbyte *data = src->Data;
            EXPECT_EQ(c.op(src.get(), with_dst ? dst.get() : nullptr), c.want) << c.name;
            EXPECT_EQ(src->Data, data) << c.name;
            EXPECT_EQ(testing_support::Diff(*src.get(), *before.get()), "") << c.name;
            EXPECT_EQ(dst->Data, nullptr) << c.name;
        }
    // The largest accepted sizes.
    OwnedImf b;
    testing_support::MakeRandom(rng, IMF_GREY, 6, 5, 1, &b);
    EXPECT_EQ(imfAverage(b.get(), nullptr, nullptr, 15), IMF_NOERROR);
    EXPECT_EQ(imfMaximum(b.get(), nullptr, nullptr, 15), IMF_NOERROR);
    EXPECT_EQ(imfBlurGaussian(b.get(), nullptr, nullptr, 25), IMF_NOERROR);
    EXPECT_EQ(imfPosterize(b.get(), nullptr, nullptr, 256), IMF_NOERROR);
    EXPECT_EQ(imfContrast(b.get(), nullptr, nullptr, 127), IMF_NOERROR);
    EXPECT_EQ(imfBrightness(nullptr, nullptr, nullptr, 9), IMF_ERRBADPARAMS);
}
