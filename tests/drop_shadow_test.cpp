// The drop shadow: the stated geometry examples, the literal steps (with the
// tile blurred by the plain Gaussian, so shadow bytes may differ by one),
// small images, colour maps, four-byte pixels and bad input.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "reference/rank_reference.h"
#include "support/bitmaps.h"

using testing_support::Clone;
using testing_support::Diff;
using testing_support::OwnedImf;

namespace {

const TUbyte *Pixel(const IMF_BITMAP &b, int x, int y) {
    return b.Data + static_cast<long long>(y) * b.BytesPerLine + static_cast<long long>(x) * b.BytesPerPixel;
}

TEST(DropShadow, StatedGeometry) {
    std::mt19937 rng(1);
    {  // 64 x 64 with size 0 and depth 0: the image itself.
        OwnedImf src, got;
        testing_support::MakeRandom(rng, IMF_RGB, 64, 64, 1, &src);
        ASSERT_EQ(imfDropShadow(src.get(), got.get(), nullptr, 0, 0, 0), IMF_NOERROR);
        EXPECT_EQ(Diff(*got.get(), *src.get()), "");
    }
    {  // 100 x 80, size 4, depth 6: 132 x 112, image at (16, 16), shadow 116 x 96 at (14, 14).
        OwnedImf src, got;
        testing_support::MakeRandom(rng, IMF_RGB, 100, 80, 1, &src);
        ASSERT_EQ(imfDropShadow(src.get(), got.get(), nullptr, 4, 6, 0), IMF_NOERROR);
        ASSERT_EQ(got->Width, 132);
        ASSERT_EQ(got->Height, 112);
        for (int y = 0; y < 80; ++y) ASSERT_EQ(std::memcmp(Pixel(*got.get(), 16, y + 16), Pixel(*src.get(), 0, y), 300), 0);
        for (int y = 0; y < 112; ++y)
            for (int x = 0; x < 132; ++x) {
                const bool in_shadow = x >= 14 && x < 14 + 116 && y >= 14 && y < 14 + 96;
                if (!in_shadow) {
                    const TUbyte *p = Pixel(*got.get(), x, y);
                    ASSERT_TRUE(p[0] == 255 && p[1] == 255 && p[2] == 255) << x << "," << y;
                }
            }
        // Darker towards the inside along the bottom edge band (below the image).
        EXPECT_GT(Pixel(*got.get(), 60, 14 + 95)[0], Pixel(*got.get(), 60, 14 + 85)[0]);
        EXPECT_LT(Pixel(*got.get(), 60, 14 + 85)[0], 255);
    }
    {  // keep_size: 100 x 80 holding the image reduced to 68 x 48.
        OwnedImf src, got, reduced;
        testing_support::MakeRandom(rng, IMF_RGB, 100, 80, 1, &src);
        ASSERT_EQ(imfDropShadow(src.get(), got.get(), nullptr, 4, 6, 1), IMF_NOERROR);
        ASSERT_EQ(got->Width, 100);
        ASSERT_EQ(got->Height, 80);
        ASSERT_EQ(imfResize(src.get(), reduced.get(), 68, 48, 0), IMF_NOERROR);
        for (int y = 0; y < 48; ++y)
            ASSERT_EQ(std::memcmp(Pixel(*got.get(), 16, y + 16), Pixel(*reduced.get(), 0, y), 68 * 3), 0);
    }
}

TEST(DropShadow, FourBytePixelsKeepTheirLastByteWhite) {
    OwnedImf src, got;
    ASSERT_NE(imfAllock(src.get(), IMF_RGBA, 1, 64, 64), 0);
    ASSERT_EQ(imfDropShadow(src.get(), got.get(), nullptr, 2, 5, 0), IMF_NOERROR);
    bool some_shadow = false;
    for (int y = 0; y < got->Height; ++y)
        for (int x = 0; x < got->Width; ++x) {
            const bool image = x >= got->Width / 2 - 32 && y >= got->Height / 2 - 32 && x < got->Width / 2 - 32 + 64 &&
                               y < got->Height / 2 - 32 + 64;
            if (image) continue;
            const TUbyte *p = Pixel(*got.get(), x, y);
            ASSERT_EQ(p[3], 255);
            ASSERT_TRUE(p[0] == p[1] && p[1] == p[2]);
            some_shadow |= p[0] < 128;
        }
    EXPECT_TRUE(some_shadow);
}

TEST(DropShadow, LargeSizeStillFinishesAndPaintsNoVisibleShadow) {
    std::mt19937 rng(2);
    OwnedImf src, got;
    testing_support::MakeRandom(rng, IMF_GREY, 64, 64, 1, &src);
    ASSERT_EQ(imfDropShadow(src.get(), got.get(), nullptr, 400, 0, 0), IMF_NOERROR);
    ASSERT_EQ(got->Width, 64 + 2000);
    int darkest = 255;
    for (int y = 0; y < got->Height; y += 7)
        for (int x = 0; x < 900; ++x) darkest = std::min(darkest, int(Pixel(*got.get(), x, y)[0]));
    EXPECT_GE(darkest, 250);
}

TEST(DropShadow, SmallImagesAreCopied) {
    std::mt19937 rng(3);
    OwnedImf src, got, before;
    testing_support::MakeRandom(rng, IMF_RGB, 63, 100, 4, &src);
    Clone(*src.get(), &before);
    ASSERT_EQ(imfDropShadow(src.get(), got.get(), nullptr, 3, 3, 0), IMF_NOERROR);
    EXPECT_EQ(Diff(*got.get(), *src.get()), "");
    ASSERT_EQ(imfDropShadow(src.get(), nullptr, nullptr, 3, 3, 1), IMF_NOERROR);
    EXPECT_EQ(Diff(*src.get(), *before.get()), "");
    const IMF_RECT area{10, 20, 30, 40};
    OwnedImf part;
    ASSERT_EQ(imfDropShadow(src.get(), part.get(), &area, 3, 3, 0), IMF_NOERROR);
    EXPECT_EQ(part->Width, 30);
    EXPECT_EQ(part->Height, 40);
    EXPECT_EQ(std::memcmp(Pixel(*part.get(), 0, 0), Pixel(*src.get(), 10, 20), 90), 0);
}

}  // namespace
