// Negation (bytes, palettes, grey levels, bits) and the public entry frame.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "lut/lut_engine.h"
#include "reference/lut_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

TEST(Negate, StatedPixelExamples) {
    struct Case { unsigned type; TUbyte in[4], out[4]; };
    const Case cases[] = {
        {IMF_RGBA, {10, 20, 30, 40}, {245, 235, 225, 40}},
        {IMF_ARGB, {40, 10, 20, 30}, {215, 245, 235, 30}},
        {IMF_CMYK, {0, 1, 254, 77}, {255, 254, 1, 77}},
        {IMF_BGR, {0, 128, 255, 0}, {255, 127, 0, 0}},
    };
    for (const Case &c : cases) {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), c.type, 1, 1, 1), 0);
        std::memcpy(b->Data, c.in, b->BytesPerPixel);
        ASSERT_EQ(imfNegate(b.get(), nullptr, nullptr), IMF_NOERROR);
        EXPECT_EQ(std::memcmp(b->Data, c.out, b->BytesPerPixel), 0) << testing_support::TypeName(c.type);
    }
}

TEST(Negate, GreyWithSixteenLevelsMirrorsTheLevels) {
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 16, 1), 0);
    b->ColorUsed = 16;
    for (int i = 0; i < 16; ++i) b->Data[i] = static_cast<TUbyte>(i);
    ASSERT_EQ(imfNegate(b.get(), nullptr, nullptr), IMF_NOERROR);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(b->Data[i], 15 - i);
}

TEST(Lut, GreyRescalingExampleAndCallersTableUntouched) {
    TUbyte table[256];
    for (int v = 0; v < 256; ++v) table[v] = static_cast<TUbyte>(v);
    table[17] = 200;
    TUbyte t[256];
    std::memcpy(t, table, 256);
    imge::RescaleGreyTable(t, 16);
    EXPECT_EQ(t[1], 11);   // level 1 reads table[17]: 200 * 15 / 255
    EXPECT_EQ(t[15], 15);  // level 15 reads table[255]
    EXPECT_EQ(t[16], 0);
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 2, 1), 0);
    b->ColorUsed = 16;
    b->Data[0] = 1;
    b->Data[1] = 15;
    TUbyte before[256];
    std::memcpy(before, table, 256);
    ASSERT_EQ(imfApplyLut(b.get(), nullptr, nullptr, table), IMF_NOERROR);
    EXPECT_EQ(std::memcmp(before, table, 256), 0);
    EXPECT_EQ(b->Data[0], 11);
    EXPECT_EQ(b->Data[1], 15);
}

// Grey bitmaps with 1, 0 or a negative number of levels are taken as 256 levels.
TEST(Lut, DegenerateGreyLevelCountsUseTheTableUnchanged) {
    for (TWord used : {1, 0, -5, 300}) {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 3, 1), 0);
        b->ColorUsed = used;
        b->Data[0] = 0; b->Data[1] = 100; b->Data[2] = 255;
        ASSERT_EQ(imfNegate(b.get(), nullptr, nullptr), IMF_NOERROR);
        EXPECT_EQ(b->Data[0], 255) << used;
        EXPECT_EQ(b->Data[1], 155) << used;
        EXPECT_EQ(b->Data[2], 0) << used;
    }
}

TEST(Lut, ColourMapChangesOnlyUsedEntriesAndKeepsIndicesAndAlpha) {
    std::mt19937 rng(1);
    OwnedImf b, before;
    testing_support::MakeRandom(rng, IMF_COLORS, 8, 8, 1, &b);
    b->ColorUsed = 10;
    testing_support::Clone(*b.get(), &before);
    const IMF_RECT small = {1, 1, 2, 2};
    ASSERT_EQ(imfNegate(b.get(), nullptr, &small), IMF_NOERROR);
    EXPECT_EQ(std::memcmp(b->Data, before->Data, 64), 0);
    for (int k = 0; k < 256; ++k) {
        int r = before->ColorMap->Red[k];
        EXPECT_EQ(b->ColorMap->Red[k], k < 10 ? 255 - r : r) << k;
        EXPECT_EQ(b->ColorMap->Alpha[k], before->ColorMap->Alpha[k]);
    }
    EXPECT_EQ(b->ColorMap->HasAlpha, before->ColorMap->HasAlpha);
}

// The source passed as its own destination works in place: the palette and
// pixels are read before anything is written, and no buffer is lost.
TEST(Lut, SourceAsItsOwnDestinationWorksInPlace) {
    std::mt19937 rng(6);
    for (unsigned type : {IMF_COLORS, IMF_GREY, IMF_RGBA}) {
        OwnedImf b, want;
        testing_support::MakeRandom(rng, type, 9, 4, 2, &b);
        testing_support::Clone(*b.get(), &want);
        ASSERT_EQ(imfNegate(want.get(), nullptr, nullptr), IMF_NOERROR);
        const TUbyte *data = b->Data;
        ASSERT_EQ(imfNegate(b.get(), b.get(), nullptr), IMF_NOERROR);
        EXPECT_EQ(b->Data, data);
        EXPECT_EQ(testing_support::Diff(*b.get(), *want.get()), "") << testing_support::TypeName(type);
        const TUbyte table[256] = {7};
        ASSERT_EQ(imfApplyLut(b.get(), b.get(), nullptr, table), IMF_NOERROR);
        EXPECT_EQ(b->Data, data);
    }
}

TEST(Lut, IdentityTableAndEmptyAreaChangeNothing) {
    std::mt19937 rng(2);
    for (unsigned type : testing_support::kByteTypes) {
        OwnedImf b, before, dst;
        testing_support::MakeRandom(rng, type, 9, 5, 4, &b);
        testing_support::Clone(*b.get(), &before);
        TUbyte id[256];
        for (int v = 0; v < 256; ++v) id[v] = static_cast<TUbyte>(v);
        ASSERT_EQ(imfApplyLut(b.get(), nullptr, nullptr, id), IMF_NOERROR);
        EXPECT_EQ(testing_support::Diff(*b.get(), *before.get()), "");
        if (type == IMF_COLORS) continue;  // the palette ignores the area
        const IMF_RECT empty = {3, 2, 0, 3};
        ASSERT_EQ(imfNegate(b.get(), dst.get(), &empty), IMF_NOERROR);
        EXPECT_EQ(testing_support::Diff(*dst.get(), *before.get()), "");
    }
}

// ---- The public entry frame -------------------------------------------------

TEST(Frame, ThreeModes) {
    IMG_BITMAP *src = imgCreateBitmap(IMG_RGB, 3, 2);
    ASSERT_NE(src, nullptr);
    src->Data[0] = 10;
    src->BitsPerComponent = 1;
    src->XOffset = 7;
    src->Reserved = 3;
    IMG_UINT8 *old_data = src->Data;

    // In place, dst null.
    ASSERT_EQ(imgNegative(src, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(src->Data, old_data);
    EXPECT_EQ(src->Data[0], 245);
    EXPECT_EQ(src->BitsPerComponent, 8);
    EXPECT_EQ(src->XOffset, 7);
    EXPECT_EQ(src->Reserved, 3);

    // In place, *dst == src.
    IMG_BITMAP *same = src;
    ASSERT_EQ(imgNegative(src, &same), IMG_NO_ERROR);
    EXPECT_EQ(same, src);
    EXPECT_EQ(src->Data[0], 10);

    // Separate destination; the old value of *dst is overwritten, not released.
    IMG_BITMAP stale;
    IMG_BITMAP *dst = &stale;
    ASSERT_EQ(imgNegative(src, &dst), IMG_NO_ERROR);
    ASSERT_NE(dst, &stale);
    ASSERT_NE(dst, nullptr);
    EXPECT_NE(dst->Data, src->Data);
    EXPECT_EQ(dst->Data[0], 245);
    EXPECT_EQ(src->Data[0], 10);
    EXPECT_EQ(dst->Width, 3);
    EXPECT_EQ(dst->BitsPerComponent, 8);
    imgFreeBitmap(dst);
    imgFreeBitmap(src);
}

TEST(Frame, BinaryBitmapsAreNegatedBitwise) {
    IMG_BITMAP *src = imgCreateBitmap(IMG_BINARY, 10, 1);
    src->Data[0] = 0xF0;
    src->Data[1] = 0x40;
    ASSERT_EQ(imgNegative(src, nullptr), IMG_NO_ERROR);
    EXPECT_EQ(src->Data[0], 0x0F);
    EXPECT_EQ(src->Data[1] & 0xC0, 0x80);
    imgFreeBitmap(src);
}

}  // namespace
