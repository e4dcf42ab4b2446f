// Tone curves: the stated table values, the table operations against their
// references on random bitmaps, refused parameters and the public entry points.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "lut/tone_tables.h"
#include "reference/lut_reference.h"
#include "reference/tone_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

// The table an operation applies, read back through a 256-pixel grey ramp.
using Op = std::function<IMF_ERROR(IMF_BITMAP *)>;
void TableOf(const Op &op, TUbyte out[256]) {
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 256, 1), 0);
    for (int v = 0; v < 256; ++v) b->Data[v] = static_cast<TUbyte>(v);
    ASSERT_EQ(op(b.get()), IMF_NOERROR);
    std::memcpy(out, b->Data, 256);
}

struct Point { int in, out; };
struct StatedCase {
    const char *name;
    Op op;
    std::vector<Point> points;
};

TEST(ToneTables, StatedValues) {
    const StatedCase cases[] = {
        {"contrast 64", [](IMF_BITMAP *b) { return imfContrast(b, nullptr, nullptr, 64); },
         {{64, 0}, {128, 128}, {191, 255}}},
        {"contrast -64", [](IMF_BITMAP *b) { return imfContrast(b, nullptr, nullptr, -64); },
         {{0, 64}, {128, 127}, {255, 191}}},
        {"gamma 2.2", [](IMF_BITMAP *b) { return imfGamma(b, nullptr, nullptr, 2.2); }, {{128, 186}, {1, 21}}},
        {"gamma 0.5", [](IMF_BITMAP *b) { return imfGamma(b, nullptr, nullptr, 0.5); }, {{128, 64}}},
        {"log", [](IMF_BITMAP *b) { return imfLog(b, nullptr, nullptr); },
         {{0, 0}, {1, 31}, {2, 50}, {15, 127}, {127, 223}, {254, 254}, {255, 255}}},
        {"posterize 2", [](IMF_BITMAP *b) { return imfPosterize(b, nullptr, nullptr, 2); },
         {{0, 0}, {127, 0}, {128, 255}, {255, 255}}},
        {"posterize 3", [](IMF_BITMAP *b) { return imfPosterize(b, nullptr, nullptr, 3); },
         {{0, 0}, {84, 0}, {85, 127}, {169, 127}, {170, 255}, {255, 255}}},
        {"posterize 4", [](IMF_BITMAP *b) { return imfPosterize(b, nullptr, nullptr, 4); },
         {{63, 0}, {64, 85}, {127, 85}, {128, 170}, {191, 170}, {192, 255}}},
        {"posterize 5", [](IMF_BITMAP *b) { return imfPosterize(b, nullptr, nullptr, 5); },
         {{50, 0}, {51, 63}, {101, 63}, {102, 126}, {152, 126}, {153, 189}, {203, 189}, {204, 255}, {255, 255}}},
        {"solarize 127", [](IMF_BITMAP *b) { return imfSolarize(b, nullptr, nullptr, 127); },
         {{127, 127}, {128, 127}, {255, 0}}},
        {"brightness 300", [](IMF_BITMAP *b) { return imfBrightness(b, nullptr, nullptr, 300); },
         {{0, 255}, {255, 255}}},
        {"brightness -300", [](IMF_BITMAP *b) { return imfBrightness(b, nullptr, nullptr, -300); },
         {{0, 0}, {255, 0}}},
        {"levels 100 100", [](IMF_BITMAP *b) { return imfLevels(b, nullptr, nullptr, 100, 100); },
         {{0, 0}, {100, 0}, {101, 255}, {255, 255}}},
        {"levels 200 50", [](IMF_BITMAP *b) { return imfLevels(b, nullptr, nullptr, 200, 50); },
         {{50, 0}, {200, 0}, {201, 255}}},
        {"levels 10 20", [](IMF_BITMAP *b) { return imfLevels(b, nullptr, nullptr, 10, 20); },
         {{10, 0}, {11, 25}, {15, 127}, {19, 229}, {20, 255}}},
    };
    for (const StatedCase &c : cases) {
        TUbyte t[256];
        TableOf(c.op, t);
        for (const Point &p : c.points) EXPECT_EQ(t[p.in], p.out) << c.name << " at " << p.in;
    }
}

TEST(ToneTables, IdentityParameters) {
    const std::pair<const char *, Op> cases[] = {
        {"brightness 0", [](IMF_BITMAP *b) { return imfBrightness(b, nullptr, nullptr, 0); }},
        {"contrast 0", [](IMF_BITMAP *b) { return imfContrast(b, nullptr, nullptr, 0); }},
        {"gamma 1", [](IMF_BITMAP *b) { return imfGamma(b, nullptr, nullptr, 1.0); }},
        {"levels 0 255", [](IMF_BITMAP *b) { return imfLevels(b, nullptr, nullptr, 0, 255); }},
        {"solarize 255", [](IMF_BITMAP *b) { return imfSolarize(b, nullptr, nullptr, 255); }},
        {"posterize 256", [](IMF_BITMAP *b) { return imfPosterize(b, nullptr, nullptr, 256); }},
        {"adjust 0 0 1", [](IMF_BITMAP *b) { return imfAdjust(b, nullptr, nullptr, 0, 0, 1.0); }},
    };
    for (const auto &c : cases) {
        TUbyte t[256];
        TableOf(c.second, t);
        for (int v = 0; v < 256; ++v) ASSERT_EQ(t[v], v) << c.first;
    }
}

TEST(ToneTables, AdjustGammaStepIsSkippedCloseToOne) {
    TUbyte t[256], one[256];
    imfGetAdjustLut(one, 0, 0, 1.0);
    imfGetAdjustLut(t, 0, 0, 1.00005);
    EXPECT_EQ(std::memcmp(t, one, 256), 0);
    // On whole values the step with 1.0002 rounds back to the identity; what
    // matters is that it is the gamma curve.
    imfGetAdjustLut(t, 0, 0, 1.0002);
    TUbyte g[256];
    imge::lut::GammaTable(g, 1.0002);
    EXPECT_EQ(std::memcmp(t, g, 256), 0);
    // Brightness before contrast before gamma.
    imfGetAdjustLut(t, 20, 30, 2.0);
    TUbyte b[256], c[256], gg[256];
    imge::lut::BrightnessTable(b, 20);
    imge::lut::ContrastTable(c, 30);
    imge::lut::GammaTable(gg, 2.0);
    for (int v = 0; v < 256; ++v) ASSERT_EQ(t[v], gg[c[b[v]]]) << v;
}

TEST(ToneTables, GetAdjustLutWithRefusedParametersIsTheIdentity) {
    for (double g : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        TUbyte t[256];
        imfGetAdjustLut(t, 50, 10, g);
        for (int v = 0; v < 256; ++v) ASSERT_EQ(t[v], v);
    }
    TUbyte t[256];
    imfGetAdjustLut(t, 50, 128, 1.0);
    for (int v = 0; v < 256; ++v) ASSERT_EQ(t[v], v);
    imfGetAdjustLut(nullptr, 0, 0, 1.0);  // nothing to fill, no crash
}

// Levels at the ends of the 32-bit range: v - low is taken in 64 bits.
TEST(ToneTables, LevelsWithExtremeBounds) {
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 4, 1), 0);
    const TUbyte px[4] = {0, 1, 128, 255};
    std::memcpy(b->Data, px, 4);
    // 255 * (v + 2^31) / (2^32 - 1) is 127.5 and a little more: 127 everywhere.
    ASSERT_EQ(imfLevels(b.get(), nullptr, nullptr, INT32_MIN, INT32_MAX), IMF_NOERROR);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(b->Data[i], 127) << i;
    std::memcpy(b->Data, px, 4);
    ASSERT_EQ(imfLevels(b.get(), nullptr, nullptr, INT32_MIN, 256), IMF_NOERROR);
    // 255 * (v + 2^31) / (2^31 + 256) stays just below 255 for every v up to 255.
    for (int i = 0; i < 4; ++i) EXPECT_EQ(b->Data[i], 254) << i;
}

}  // namespace
