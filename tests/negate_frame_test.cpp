// Negation (bytes, palettes, grey levels, bits) and the public entry frame.
#include <gtest/gtest.h>

#include <cstring>

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
    imge::lut::RescaleGreyTable(t, 16);
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

// ---- The public entry frame -------------------------------------------------

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
