// The separate-bitmap frame, driven by a plain row function (complement of
// every byte), on every byte type, in place and with a destination.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "core/separate_frame.h"
#include "libtools.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

IMF_ERROR Complement(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area) {
    IMF_RECT r;
    if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
    const int bpp = src->BytesPerPixel;
    return imge::RunSeparate(src, dst, area, r, [&](const TUbyte *in, TUbyte *out, TLong n) {
        for (long i = 0; i < static_cast<long>(n) * bpp; ++i) out[i] = static_cast<TUbyte>(255 - in[i]);
    });
}

TUbyte At(const IMF_BITMAP &b, int x, int y, int k) {
    return b.Data[static_cast<long>(y) * b.BytesPerLine + x * b.BytesPerPixel + k];
}

// Every pixel inside the rectangle is complemented; outside it equals the
// source when an area was given.
void ExpectFrameResult(const IMF_BITMAP &orig, const IMF_BITMAP &out, const IMF_RECT &r) {
    ASSERT_EQ(out.Width, orig.Width);
    ASSERT_EQ(out.Height, orig.Height);
    ASSERT_EQ(out.Type, orig.Type);
    EXPECT_EQ(out.TransparentIndex, -1);
    EXPECT_EQ(out.ColorUsed, orig.ColorUsed);
    for (int y = 0; y < orig.Height; ++y)
        for (int x = 0; x < orig.Width; ++x) {
            bool inside = x >= r.left && x < r.left + r.width && y >= r.top && y < r.top + r.height;
            for (int k = 0; k < orig.BytesPerPixel; ++k) {
                TUbyte want = inside ? static_cast<TUbyte>(255 - At(orig, x, y, k)) : At(orig, x, y, k);
                ASSERT_EQ(At(out, x, y, k), want) << x << "," << y << " byte " << k;
            }
        }
}

TEST(SeparateFrame, RandomBitmapsAreasInPlaceAndDestination) {
    std::mt19937 rng(5);
    for (unsigned type : testing_support::kByteTypes)
        for (int round = 0; round < 6; ++round) {
            const int w = 1 + static_cast<int>(rng() % 23), h = 1 + static_cast<int>(rng() % 9);
            OwnedImf src, orig;
            testing_support::MakeRandom(rng, type, w, h, 1 + static_cast<int>(rng() % 4), &src);
            src->TransparentIndex = 3;
            testing_support::Clone(src.b, &orig);
            const bool with_area = round % 2 == 1;
            IMF_RECT area = testing_support::RandomArea(rng, w, h);
            IMF_RECT whole = {0, 0, w, h};
            const IMF_RECT &r = with_area ? area : whole;
            SCOPED_TRACE(testing_support::TypeName(type));
            if (round < 3) {
                OwnedImf dst;
                ASSERT_EQ(Complement(src.get(), dst.get(), with_area ? &area : nullptr), IMF_NOERROR);
                EXPECT_EQ(testing_support::Diff(src.b, orig.b), "");  // source untouched
                EXPECT_NE(dst->Data, src->Data);
                ExpectFrameResult(orig.b, dst.b, r);
            } else {
                const TUbyte *old_data = src->Data;
                ASSERT_EQ(Complement(src.get(), nullptr, with_area ? &area : nullptr), IMF_NOERROR);
                EXPECT_NE(src->Data, old_data);  // the record received the new bitmap
                ExpectFrameResult(orig.b, src.b, r);
            }
        }
}

TEST(SeparateFrame, DestinationEqualToSourceWorksInPlace) {
    std::mt19937 rng(1);
    OwnedImf src, orig;
    testing_support::MakeRandom(rng, IMF_RGB, 7, 5, 4, &src);
    testing_support::Clone(src.b, &orig);
    ASSERT_EQ(Complement(src.get(), src.get(), nullptr), IMF_NOERROR);
    ExpectFrameResult(orig.b, src.b, IMF_RECT{0, 0, 7, 5});
}

TEST(SeparateFrame, KeepsPackAndExtendedData) {
    std::mt19937 rng(2);
    OwnedImf src;
    testing_support::MakeRandom(rng, IMF_GREY, 4, 4, 1, &src);
    src->Xdpi = 300;
    OwnedImf dst;
    ASSERT_EQ(Complement(src.get(), dst.get(), nullptr), IMF_NOERROR);
    EXPECT_EQ(dst->Xdpi, 300);
    EXPECT_EQ(dst->Pack, src->Pack);
    EXPECT_EQ(dst->BytesPerLine, src->BytesPerLine);
}

TEST(SeparateFrame, RefusedAreasChangeNothing) {
    std::mt19937 rng(3);
    OwnedImf src, orig;
    testing_support::MakeRandom(rng, IMF_BGRA, 6, 4, 1, &src);
    testing_support::Clone(src.b, &orig);
    const IMF_RECT bad[] = {{-1, 0, 2, 2}, {0, 0, 7, 1}, {5, 3, 2, 1}, {0, 0, 1, -1}, {0x7fffffff, 0, 2, 1}};
    for (const IMF_RECT &a : bad) {
        IMF_BITMAP dst;
        std::memset(&dst, 0, sizeof dst);
        EXPECT_EQ(Complement(src.get(), &dst, &a), IMF_ERRBADPARAMS);
        EXPECT_EQ(dst.Data, nullptr);
        EXPECT_EQ(Complement(src.get(), nullptr, &a), IMF_ERRBADPARAMS);
        EXPECT_EQ(testing_support::Diff(src.b, orig.b), "");
    }
}

TEST(SeparateFrame, EmptyBitmapsComeBackEmpty) {
    for (int w : {0, 3}) {
        OwnedImf src;
        ASSERT_NE(imfAllock(src.get(), IMF_RGB, 1, w, w ? 0 : 3), 0);
        OwnedImf dst;
        ASSERT_EQ(Complement(src.get(), dst.get(), nullptr), IMF_NOERROR);
        EXPECT_EQ(dst->Width, src->Width);
        EXPECT_EQ(dst->Height, src->Height);
    }
}

TEST(SeparateFrame, MoreThanEightBitsIsRefused) {
    OwnedImf src;
    ASSERT_NE(imfAllock(src.get(), IMF_GREY, 1, 2, 2), 0);
    src->BitsPerComponent = 16;
    IMF_BITMAP fresh;
    EXPECT_EQ(imge::BeginSeparate(src.get(), nullptr, &fresh), IMF_ERRBADBITMAP);
    EXPECT_EQ(fresh.Data, nullptr);
}

}  // namespace
