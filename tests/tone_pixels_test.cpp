// Proportional brightness and saturation gamma: stated values, the
// operations against their references, refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "libformat.h"
#include "libtools.h"
#include "lut/tone_pixels.h"
#include "reference/tone_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

TEST(Conbright, StatedValues) {
    struct Case { TLong amount; unsigned in; int out; };
    const Case cases[] = {
        {50, 0, 50}, {50, 100, 130}, {50, 200, 210},
        {-50, 100, 80}, {-50, 200, 161}, {-50, 255, 205},
        {0, 77, 77}, {255, 3, 255}, {1000, 3, 255}, {-255, 250, 0}, {-1000, 250, 0},
    };
    for (const Case &c : cases) EXPECT_EQ(imge::conbright(c.in, c.amount, 255), c.out) << c.amount << " " << c.in;
}

TEST(Conbright, MatchesTheFormulaForEveryValueAndManyAmounts) {
    const TLong amounts[] = {-70000, -65536, -65537, -300, -255, -254, -128, -1, 1, 2, 127, 254, 255, 256,
                             65535, 65536, 65537, 70000, std::numeric_limits<TLong>::max(),
                             std::numeric_limits<TLong>::min()};
    for (TLong a : amounts)
        for (unsigned v = 0; v < 256; ++v) ASSERT_EQ(imge::conbright(v, a, 255), reference::Conbright(v, a, 255)) << a << " " << v;
}

TEST(Gammasat, StatedValues) {
    EXPECT_EQ(imge::gammasat(200, 100, 2.0), 50);
    EXPECT_EQ(imge::gammasat(200, 100, 0.5), 141);
    EXPECT_EQ(imge::gammasat(200, 200, 3.0), 200);
    EXPECT_EQ(imge::gammasat(200, 0, 0.5), 0);
    // A pixel with equal components is unchanged.
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_RGB, 1, 2, 1), 0);
    const TUbyte px[6] = {90, 90, 90, 200, 100, 0};
    std::memcpy(b->Data, px, 6);
    ASSERT_EQ(imfGammasat(b.get(), nullptr, nullptr, 2.0), IMF_NOERROR);
    const TUbyte want[6] = {90, 90, 90, 200, 50, 0};
    EXPECT_EQ(std::memcmp(b->Data, want, 6), 0);
}

TEST(TonePixels, RefusalsChangeNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const IMF_RECT bad = {0, 0, 100, 1};
    struct Case {
        const char *name;
        unsigned type;
        const IMF_RECT *area;
        int op;  // 0 contrabrightness, 1 gammasat
        double g;
        IMF_ERROR want;
    };
    const Case cases[] = {
        {"conbright binary", IMF_BINARY, nullptr, 0, 0, IMF_ERRBADBITMAP},
        {"conbright palette", IMF_COLORS, nullptr, 0, 0, IMF_ERRBADBITMAP},
        {"conbright palette, bad area: type first", IMF_COLORS, &bad, 0, 0, IMF_ERRBADBITMAP},
        {"conbright bad area", IMF_RGB, &bad, 0, 0, IMF_ERRBADPARAMS},
        {"gammasat grey", IMF_GREY, nullptr, 1, 1.5, IMF_ERRBADBITMAP},
        {"gammasat palette", IMF_COLORS, nullptr, 1, 1.5, IMF_ERRBADBITMAP},
        {"gammasat grey, bad area: area first", IMF_GREY, &bad, 1, 1.5, IMF_ERRBADPARAMS},
        {"gammasat gamma 0", IMF_RGB, nullptr, 1, 0.0, IMF_ERRBADPARAMS},
        {"gammasat gamma -1", IMF_RGBA, nullptr, 1, -1.0, IMF_ERRBADPARAMS},
        {"gammasat gamma nan", IMF_BGR, nullptr, 1, nan, IMF_ERRBADPARAMS},
    };
    std::mt19937 rng(4);
    for (const Case &c : cases) {
        OwnedImf src, before;
        testing_support::MakeRandom(rng, c.type, 11, 3, 1, &src);
        testing_support::Clone(src.b, &before);
        for (bool with_dst : {false, true}) {
            IMF_BITMAP dst;
            std::memset(&dst, 0, sizeof dst);
            IMF_ERROR rc = c.op == 0 ? imfContraBrightness(src.get(), with_dst ? &dst : nullptr, c.area, 40)
                                     : imfGammasat(src.get(), with_dst ? &dst : nullptr, c.area, c.g);
            EXPECT_EQ(rc, c.want) << c.name;
            EXPECT_EQ(dst.Data, nullptr) << c.name;
            EXPECT_EQ(testing_support::Diff(src.b, before.b), "") << c.name;
        }
    }
    EXPECT_EQ(imfContraBrightness(nullptr, nullptr, nullptr, 1), IMF_ERRBADPARAMS);
    EXPECT_EQ(imfGammasat(nullptr, nullptr, nullptr, 1), IMF_ERRBADPARAMS);
}

TEST(TonePixels, EmptyBitmapsComeBackEmptyWithCodeZero) {
    for (int w : {0, 4}) {
        OwnedImf src;
        ASSERT_NE(imfAllock(src.get(), IMF_RGB, 1, w, w ? 0 : 4), 0);
        ASSERT_EQ(imfContraBrightness(src.get(), nullptr, nullptr, 10), IMF_NOERROR);
        ASSERT_EQ(imfGammasat(src.get(), nullptr, nullptr, 2.0), IMF_NOERROR);
        EXPECT_EQ(src->Width, w);
    }
}

}  // namespace
