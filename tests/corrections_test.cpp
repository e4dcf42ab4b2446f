// Histograms and automatic corrections: the stated examples and the public
// ordering of the balance offsets (random bitmaps, empty ones and grey
// levels run against the references in fuzz_replay_test.cpp).
#include <gtest/gtest.h>

#include <cstring>

#include "records/record_convert.h"
#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "reference/tone_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

TEST(Histograms, StatedCases) {
    // A 1-bit bitmap: a single count at entry 0 of each array.
    OwnedImf bits;
    ASSERT_NE(imfAllock(bits.get(), IMF_BINARY, 1, 13, 3), 0);
    std::memset(bits->Data, 0xA5, static_cast<size_t>(bits->BytesPerLine) * 3);
    TUlong all[4 * 256];
    imfCreateAllHistogram(bits.get(), all);
    for (int k = 0; k < 4; ++k)
        for (int v = 0; v < 256; ++v) ASSERT_EQ(all[256 * k + v], v == 0 ? 1u : 0u);
    // Binary luminance: each bit counted as 0 or 255 (decision of this library).
    TUlong lum[256];
    imfCreateHistogramOnLuminance(bits.get(), lum);
    EXPECT_EQ(lum[0] + lum[255], 39u);
    EXPECT_EQ(lum[255], 18u);  // rows 10100101 10100: 6 bits set, 3 rows
    // RGB pixel (255, 0, 0): luminance 76, red 255, green 0, blue 0; BGR layout reversed.
    for (unsigned type : {IMF_RGB, IMF_BGR, IMF_ARGB, IMF_ABGR}) {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), type, 1, 1, 1), 0);
        const int red = type == IMF_RGB ? 0 : type == IMF_BGR ? 2 : type == IMF_ARGB ? 1 : 3;
        b->Data[red] = 255;
        imfCreateAllHistogram(b.get(), all);
        EXPECT_EQ(all[76], 1u) << testing_support::TypeName(type);
        EXPECT_EQ(all[256 + 255], 1u);
        EXPECT_EQ(all[512 + 0], 1u);
        EXPECT_EQ(all[768 + 0], 1u);
    }
    imfCreateAllHistogram(nullptr, all);  // cleared, no crash
    EXPECT_EQ(all[0], 0u);
}

TEST(Corrections, UniformGrey) {
    for (const auto &op : {std::make_pair("auto levels", &imfAutoLevels), std::make_pair("normalize", &imfNormalize)}) {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 30, 40), 0);
        std::memset(b->Data, 100, 30 * 40);
        ASSERT_EQ(op.second(b.get(), nullptr, nullptr), IMF_NOERROR);
        for (int i = 0; i < 30 * 40; ++i) ASSERT_EQ(b->Data[i], 100) << op.first;
    }
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 30, 40), 0);
    std::memset(b->Data, 100, 30 * 40);
    ASSERT_EQ(imfEqualize(b.get(), nullptr, nullptr), IMF_NOERROR);
    EXPECT_EQ(b->Data[0], 255);
}

TEST(Corrections, FullRangeIsUnchangedByNormalize) {
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_RGB, 3, 256, 2), 0);
    for (int x = 0; x < 256; ++x)
        for (int k = 0; k < 3; ++k) {
            b->Data[3 * x + k] = static_cast<TUbyte>(k == 1 ? 255 - x : x);
            b->Data[b->BytesPerLine + 3 * x + k] = static_cast<TUbyte>((x * 37 + k) & 255);
        }
    OwnedImf before;
    testing_support::Clone(b.b, &before);
    ASSERT_EQ(imfNormalize(b.get(), nullptr, nullptr), IMF_NOERROR);
    EXPECT_EQ(testing_support::Diff(b.b, before.b), "");
}

TEST(Corrections, AutoContrastStatedExample) {
    // Luminance 50..200 (half the pixels each): brightness 3, contrast 52.
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 100, 20), 0);
    for (int i = 0; i < 2000; ++i) b->Data[i] = static_cast<TUbyte>(i % 2 ? 200 : 50);
    long brightness, contrast;
    reference::AutoContrastParameters(b.b, &brightness, &contrast);
    EXPECT_EQ(brightness, 3);
    EXPECT_EQ(contrast, 52);
    ASSERT_EQ(imfAutoContrast(b.get(), nullptr, nullptr), IMF_NOERROR);
    EXPECT_EQ(b->Data[0], 1);
    EXPECT_EQ(b->Data[1], 255);
}

TEST(Corrections, BalanceStatedExample) {
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_RGB, 1, 1, 1), 0);
    const TUbyte px[3] = {250, 5, 5};
    std::memcpy(b->Data, px, 3);
    const TLong values[4] = {10, 0, -10, 0};
    ASSERT_EQ(imfBalance(b.get(), nullptr, nullptr, values), IMF_NOERROR);
    EXPECT_EQ(b->Data[0], 255);
    EXPECT_EQ(b->Data[1], 5);
    EXPECT_EQ(b->Data[2], 0);
}

// imgBalance: the offsets land on the byte positions of the ordering table.
TEST(Corrections, PublicBalanceOrdersTheOffsets) {
    struct Case {
        IMG_BITMAP_TYPE type;
        IMG_COLOR color;
        int delta[4];  // expected change of bytes 0..3 from 100
    };
    const Case cases[] = {
        {IMG_BGR, {20, 0, 0, 0}, {0, 0, 20, 0}},
        {IMG_ABGR, {10, 20, 30, 5}, {5, 30, 20, 0}},
        {IMG_ARGB, {10, 20, 30, 5}, {5, 10, 20, 0}},
        {IMG_RGBA, {10, 20, 30, 5}, {10, 20, 30, 0}},
        {IMG_BGRA, {10, 20, 30, 5}, {30, 20, 10, 0}},
        {IMG_RGB, {static_cast<IMG_UINT16>(-20), 0x0107, 0xFF80, 0}, {-20, 7, -100, 0}},
        {IMG_CMYK, {1, 2, 3, 4}, {1, 2, 3, 0}},
    };
    for (const Case &c : cases) {
        IMG_BITMAP *b = imgCreateBitmap(c.type, 3, 2);
        ASSERT_NE(b, nullptr);
        std::memset(b->Data, 100, static_cast<size_t>(b->BytesPerLine) * 2);
        ASSERT_EQ(imgBalance(b, nullptr, &c.color), IMG_NO_ERROR);
        for (int x = 0; x < 3; ++x)
            for (int k = 0; k < b->BytesPerPixel; ++k) {
                int want = 100 + c.delta[k];
                want = want < 0 ? 0 : want;
                ASSERT_EQ(b->Data[b->BytesPerLine + x * b->BytesPerPixel + k], want) << c.type << " byte " << k;
            }
        imgFreeBitmap(b);
    }
    IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, 2, 2);
    EXPECT_EQ(imgBalance(b, nullptr, nullptr), IMG_ERROR_BAD_PARAMETERS);
    imgFreeBitmap(b);
}

}  // namespace
