// Tone curves: the stated table values, the table operations against their
// references on random bitmaps, refused parameters and the public entry points.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

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

// Every posterize level count, every threshold and a sweep of the other
// parameters against the formulas as written.
TEST(ToneTables, BuildersMatchTheFormulas) {
    TUbyte fast[256], plain[256];
    for (int levels = 2; levels <= 256; ++levels) {
        imge::PosterizeTable(fast, levels);
        reference::PosterizeTable(plain, levels);
        ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "posterize " << levels;
    }
    for (int c = -127; c <= 127; ++c) {
        imge::ContrastTable(fast, c);
        reference::ContrastTable(plain, c);
        ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "contrast " << c;
    }
    for (int b = -300; b <= 300; b += 7) {
        imge::BrightnessTable(fast, b);
        reference::BrightnessTable(plain, b);
        ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "brightness " << b;
    }
    for (int t = -2; t <= 257; ++t) {
        imge::SolarizeTable(fast, t);
        reference::SolarizeTable(plain, t);
        ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "solarize " << t;
        imge::LevelsTable(fast, t, 255 - t / 2);
        reference::LevelsTable(plain, t, 255 - t / 2);
        ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "levels " << t;
    }
    for (double g : {0.01, 0.3, 0.5, 0.9999, 1.00005, 1.0002, 1.8, 2.2, 7.5, 1e6}) {
        imge::GammaTable(fast, g);
        reference::GammaTable(plain, g);
        ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "gamma " << g;
        for (int c : {-100, 0, 40}) {
            imge::AdjustTable(fast, 17, c, g);
            reference::AdjustTable(plain, 17, c, g);
            ASSERT_EQ(std::memcmp(fast, plain, 256), 0) << "adjust " << g << " " << c;
        }
    }
    imge::LogTable(fast);
    reference::LogTable(plain);
    EXPECT_EQ(std::memcmp(fast, plain, 256), 0);
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
    reference::GammaTable(g, 1.0002);
    EXPECT_EQ(std::memcmp(t, g, 256), 0);
    // Brightness before contrast before gamma.
    imfGetAdjustLut(t, 20, 30, 2.0);
    TUbyte b[256], c[256], gg[256];
    reference::BrightnessTable(b, 20);
    reference::ContrastTable(c, 30);
    reference::GammaTable(gg, 2.0);
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

// Refusals: binary sources, parameters outside the curves, rejected areas;
// nothing changes and no destination is made.
TEST(ToneTables, RefusalsChangeNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char *name;
        unsigned type;
        std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *)> op;
        IMF_ERROR want;
    };
    const Case cases[] = {
        {"binary brightness", IMF_BINARY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfBrightness(s, d, a, 5); }, IMF_ERRBADBITMAP},
        {"binary levels", IMF_BINARY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfLevels(s, d, a, 5, 9); }, IMF_ERRBADBITMAP},
        {"binary log", IMF_BINARY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfLog(s, d, a); }, IMF_ERRBADBITMAP},
        {"binary solarize", IMF_BINARY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfSolarize(s, d, a, 5); }, IMF_ERRBADBITMAP},
        {"binary gamma bad too", IMF_BINARY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfGamma(s, d, a, -1); }, IMF_ERRBADBITMAP},
        {"posterize 1", IMF_RGB, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfPosterize(s, d, a, 1); }, IMF_ERRBADPARAMS},
        {"posterize 0", IMF_GREY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfPosterize(s, d, a, 0); }, IMF_ERRBADPARAMS},
        {"posterize 257", IMF_RGBA, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfPosterize(s, d, a, 257); }, IMF_ERRBADPARAMS},
        {"posterize -3", IMF_COLORS, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfPosterize(s, d, a, -3); }, IMF_ERRBADPARAMS},
        {"gamma 0", IMF_RGB, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfGamma(s, d, a, 0.0); }, IMF_ERRBADPARAMS},
        {"gamma -2", IMF_COLORS, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfGamma(s, d, a, -2.0); }, IMF_ERRBADPARAMS},
        {"gamma nan", IMF_BGR, [nan](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfGamma(s, d, a, nan); }, IMF_ERRBADPARAMS},
        {"adjust gamma 0", IMF_RGB, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfAdjust(s, d, a, 0, 0, 0.0); }, IMF_ERRBADPARAMS},
        {"adjust contrast 128", IMF_RGB, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfAdjust(s, d, a, 0, 128, 1.0); }, IMF_ERRBADPARAMS},
        {"contrast 128", IMF_GREY, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfContrast(s, d, a, 128); }, IMF_ERRBADPARAMS},
        {"contrast -128", IMF_CMYK, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfContrast(s, d, a, -128); }, IMF_ERRBADPARAMS},
        {"contrast 1000", IMF_ARGB, [](IMF_BITMAP *s, IMF_BITMAP *d, const IMF_RECT *a) { return imfContrast(s, d, a, 1000); }, IMF_ERRBADPARAMS},
    };
    std::mt19937 rng(3);
    for (const Case &c : cases) {
        OwnedImf src, before;
        testing_support::MakeRandom(rng, c.type, 9, 5, 2, &src);
        testing_support::Clone(src.b, &before);
        IMF_BITMAP dst;
        std::memset(&dst, 0, sizeof dst);
        EXPECT_EQ(c.op(src.get(), &dst, nullptr), c.want) << c.name;
        EXPECT_EQ(dst.Data, nullptr) << c.name;
        EXPECT_EQ(c.op(src.get(), nullptr, nullptr), c.want) << c.name;
        EXPECT_EQ(testing_support::Diff(src.b, before.b), "") << c.name;
    }
    // A rejected area.
    OwnedImf src, before;
    testing_support::MakeRandom(rng, IMF_RGB, 9, 5, 1, &src);
    testing_support::Clone(src.b, &before);
    const IMF_RECT bad = {3, 0, 7, 5};
    EXPECT_EQ(imfBrightness(src.get(), nullptr, &bad, 9), IMF_ERRBADPARAMS);
    EXPECT_EQ(imfAdjust(src.get(), nullptr, &bad, 9, 9, 1.5), IMF_ERRBADPARAMS);
    EXPECT_EQ(testing_support::Diff(src.b, before.b), "");
    EXPECT_EQ(imfBrightness(nullptr, nullptr, nullptr, 9), IMF_ERRBADPARAMS);
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

TEST(ToneTables, ColourMappedChangesThePaletteOnly) {
    std::mt19937 rng(8);
    OwnedImf src, before;
    testing_support::MakeRandom(rng, IMF_COLORS, 13, 7, 1, &src);
    testing_support::Clone(src.b, &before);
    const IMF_RECT small = {1, 1, 2, 2};
    ASSERT_EQ(imfSolarize(src.get(), nullptr, &small, 100), IMF_NOERROR);
    EXPECT_EQ(std::memcmp(src->Data, before->Data, static_cast<size_t>(src->BytesPerLine) * src->Height), 0);
    for (int k = 0; k < 256; ++k) {
        auto s = [](int v) { return v <= 100 ? v : 255 - v; };
        ASSERT_EQ(src->ColorMap->Red[k], s(before->ColorMap->Red[k]));
        ASSERT_EQ(src->ColorMap->Blue[k], s(before->ColorMap->Blue[k]));
        ASSERT_EQ(src->ColorMap->Alpha[k], before->ColorMap->Alpha[k]);
    }
}

// The public entry points run the processing operation on the whole bitmap.
TEST(ToneTables, PublicEntryPoints) {
    struct Case {
        const char *name;
        std::function<IMG_ERROR(IMG_BITMAP *, IMG_BITMAP **)> pub;
        std::function<void(TUbyte *)> table;
    };
    const Case cases[] = {
        {"imgBrightness", [](IMG_BITMAP *s, IMG_BITMAP **d) { return imgBrightness(s, d, 20); },
         [](TUbyte *t) { reference::BrightnessTable(t, 20); }},
        {"imgContrast", [](IMG_BITMAP *s, IMG_BITMAP **d) { return imgContrast(s, d, -30); },
         [](TUbyte *t) { reference::ContrastTable(t, -30); }},
        {"imgGamma", [](IMG_BITMAP *s, IMG_BITMAP **d) { return imgGamma(s, d, 2.2); },
         [](TUbyte *t) { reference::GammaTable(t, 2.2); }},
        {"imgLogCorrection", [](IMG_BITMAP *s, IMG_BITMAP **d) { return imgLogCorrection(s, d); },
         [](TUbyte *t) { reference::LogTable(t); }},
        {"imgAdjust", [](IMG_BITMAP *s, IMG_BITMAP **d) { return imgAdjust(s, d, 10, 20, 0.7); },
         [](TUbyte *t) { reference::AdjustTable(t, 10, 20, 0.7); }},
    };
    for (const Case &c : cases)
        for (bool separate : {false, true}) {
            IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, 16, 16);
            ASSERT_NE(b, nullptr);
            for (int i = 0; i < 16 * 16 * 3; ++i) b->Data[i] = static_cast<IMG_UINT8>(i * 7);
            TUbyte t[256];
            c.table(t);
            IMG_BITMAP *out = nullptr;
            ASSERT_EQ(c.pub(b, separate ? &out : nullptr), IMG_NO_ERROR) << c.name;
            IMG_BITMAP *r = separate ? out : b;
            ASSERT_NE(r, nullptr);
            for (int i = 0; i < 16 * 16 * 3; ++i) {
                ASSERT_EQ(r->Data[i], t[static_cast<IMG_UINT8>(i * 7)]) << c.name << " byte " << i;
                if (separate) {
                    ASSERT_EQ(b->Data[i], static_cast<IMG_UINT8>(i * 7));
                }
            }
            if (separate) imgFreeBitmap(out);
            imgFreeBitmap(b);
        }
}

}  // namespace
