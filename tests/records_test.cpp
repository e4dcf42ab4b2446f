// The two record conversions and the base library's record services.
#include <gtest/gtest.h>

#include <cstring>

#include "records/record_convert.h"
#include "libtools.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

IMG_BITMAP SamplePublic() {
    IMG_BITMAP b;
    std::memset(&b, 0, sizeof b);
    b.Type = IMG_RGB;
    b.Origin = IMG_BOTTOM_LEFT;
    b.Width = 5;
    b.Height = 4;
    b.BytesPerLine = 16;
    b.LinePadding = 4;
    b.BitsPerComponent = 1;
    b.ComponentsPerPixel = 3;
    b.BytesPerPixel = 3;
    b.Xdpi = 300;
    b.Ydpi = 65535;
    b.TransparentIndex = -1;
    b.Reserved = 77;
    b.ColorUsed = 256;
    b.XOffset = 11;
    b.YOffset = -12;
    return b;
}

TEST(Conversion, PublicToProcessingCopiesFieldsAndClearsTheRest) {
    IMG_BITMAP img = SamplePublic();
    char comment[] = "c", name[] = "n";
    img.Comment = comment;
    img.Name = name;
    IMF_BITMAP imf;
    std::memset(&imf, 0xAB, sizeof imf);
    imge::records::ToImf(&imf, &img);
    EXPECT_EQ(imf.Type, IMG_RGB);
    EXPECT_EQ(imf.Origin, IMG_BOTTOM_LEFT);
    EXPECT_EQ(imf.BytesPerLine, 16);
    EXPECT_EQ(imf.Pack, 4);
    EXPECT_EQ(imf.Xdpi, 300);
    EXPECT_EQ(imf.Ydpi, 65535);  // widened without sign
    EXPECT_EQ(imf.ColorUsed, 256);
    EXPECT_EQ(imf.Comment, comment);
    EXPECT_EQ(imf.Name, name);
    EXPECT_EQ(imf.BitsPerComponent, 0);
    EXPECT_EQ(imf.ComponentsPerPixel, 0);
    EXPECT_EQ(imf.Xoffset, 0);
    EXPECT_EQ(imf.Yoffset, 0);
}

TEST(Conversion, RoundTripKeepsAllButTheDocumentedFields) {
    struct Case { IMG_INT32 used_in, used_out; };
    const Case cases[] = {{256, 256}, {65536, 0}, {40000, -25536}, {-1, -1}, {32767, 32767}};
    for (const Case &c : cases) {
        IMG_BITMAP img = SamplePublic();
        img.ColorUsed = c.used_in;
        IMF_BITMAP imf;
        imge::records::ToImf(&imf, &img);
        imge::records::ToImg(&img, &imf);
        EXPECT_EQ(img.ColorUsed, c.used_out) << c.used_in;
        EXPECT_EQ(img.BitsPerComponent, 8);
        EXPECT_EQ(img.ComponentsPerPixel, 3);  // untouched
        EXPECT_EQ(img.Reserved, 77);
        EXPECT_EQ(img.XOffset, 11);
        EXPECT_EQ(img.YOffset, -12);
        EXPECT_EQ(img.Xdpi, 300);
        EXPECT_EQ(img.LinePadding, 4);
    }
    IMF_BITMAP imf;
    std::memset(&imf, 0, sizeof imf);
    imf.Xdpi = 70000;
    IMG_BITMAP img = SamplePublic();
    imge::records::ToImg(&img, &imf);
    EXPECT_EQ(img.Xdpi, 4464);
}

TEST(Allocation, GeometryPaddingAndDefaultsPerType) {
    struct Case { unsigned type; int pack, width; TLong bpl; int bpp, used; bool map; };
    const Case cases[] = {
        {IMF_BINARY, 1, 9, 2, 1, 2, false},  {IMF_BINARY, 4, 33, 8, 1, 2, false},
        {IMF_GREY, 4, 5, 8, 1, 256, false},  {IMF_COLORS, 0, 3, 3, 1, 256, true},
        {IMF_RGB, 4, 5, 16, 3, 0, false},    {IMF_BGR, -3, 5, 15, 3, 0, false},
        {IMF_CMYK, 8, 3, 16, 4, 0, false},   {IMF_ARGB, 1, 0, 0, 4, 0, false},
    };
    for (const Case &c : cases) {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), c.type, c.pack, c.width, 3), 0);
        EXPECT_EQ(b->BytesPerLine, c.bpl) << testing_support::TypeName(c.type);
        EXPECT_EQ(b->BytesPerPixel, c.bpp);
        EXPECT_EQ(b->ColorUsed, c.used);
        EXPECT_EQ(b->TransparentIndex, -1);
        EXPECT_EQ(b->Origin, IMF_TOP_LEFT);
        EXPECT_EQ(b->ColorMap != nullptr, c.map);
        for (TLong i = 0; i < c.bpl * 3; ++i) ASSERT_EQ(b->Data[i], 0);
    }
    IMF_BITMAP b;
    EXPECT_EQ(imfAllock(&b, 0x0800, 1, 4, 4), 0);   // 16-bit RGB is not handled
    EXPECT_EQ(imfAllock(&b, IMF_RGB, 1, -1, 4), 0);
    EXPECT_EQ(imfAllock(&b, IMF_RGB, 1, 1 << 30, 1 << 30), 0);  // too large
    EXPECT_EQ(imfAllockEx(&b, IMF_RGB, 1, 4, 4, 16), 0);
    ASSERT_NE(imfAllockEx(&b, IMF_RGB, 1, 4, 4, 0), 0);
    EXPECT_EQ(b.BitsPerComponent, 8);
    imfFree(&b);
}

TEST(Clipping, ResolvesAreasAndRefusesThoseOutside) {
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 10, 6), 0);
    IMF_RECT r;
    ASSERT_EQ(imfGetClippingRect(b.get(), nullptr, &r), 0);
    EXPECT_EQ(r.width, 10);
    EXPECT_EQ(r.height, 6);
    const IMF_RECT good[] = {{0, 0, 10, 6}, {9, 5, 1, 1}, {10, 6, 0, 0}, {3, 2, 0, 4}};
    for (const IMF_RECT &a : good) EXPECT_EQ(imfGetClippingRect(b.get(), &a, &r), 0);
    const IMF_RECT bad[] = {{-1, 0, 1, 1}, {0, -1, 1, 1}, {0, 0, 11, 1}, {0, 0, 1, 7},
                            {5, 0, 6, 1}, {0, 0, -1, 1}, {0x7fffffff, 0, 0x7fffffff, 1}};
    for (const IMF_RECT &a : bad) EXPECT_NE(imfGetClippingRect(b.get(), &a, &r), 0);
}

TEST(Bits, MostSignificantBitFirstAndNeighboursKept) {
    TUbyte row[2] = {0, 0xFF};
    imfCleanAndSetBitAtBuffer(row, 0, 1);
    imfCleanAndSetBitAtBuffer(row, 7, 1);
    imfCleanAndSetBitAtBuffer(row, 9, 0);
    EXPECT_EQ(row[0], 0x81);
    EXPECT_EQ(row[1], 0xBF);
    EXPECT_EQ(imfGetBitAtBuffer(row, 0), 1);
    EXPECT_EQ(imfGetBitAtBuffer(row, 1), 0);
    EXPECT_EQ(imfGetBitAtBuffer(row, 9), 0);
    EXPECT_EQ(imfGetBitAtBuffer(row, 10), 1);
}

IMF_METADATAENTRY *Chain(const char *a, const char *b) {
    auto *e2 = static_cast<IMF_METADATAENTRY *>(calloc(1, sizeof(IMF_METADATAENTRY)));
    e2->Marker = IMF_XMP_METADATA;
    e2->Length = static_cast<TLong>(strlen(b));
    e2->Data = strdup(b);
    auto *e1 = static_cast<IMF_METADATAENTRY *>(calloc(1, sizeof(IMF_METADATAENTRY)));
    e1->Marker = IMF_EXIF_METADATA;
    e1->Length = static_cast<TLong>(strlen(a));
    e1->Data = strdup(a);
    e1->Next = e2;
    return e1;
}

// Extended data is copied, not shared: the source can be released afterwards.
TEST(ExtendedData, CopiesSurviveReleasingTheSource) {
    OwnedImf src, dst;
    ASSERT_NE(imfAllock(src.get(), IMF_GREY, 1, 2, 2), 0);
    src->Comment = strdup("comment");
    src->Name = strdup("name");
    src->Metadata = Chain("exif-bytes", "xmp");
    src->Xdpi = 72;
    src->Xoffset = 5;
    src->Origin = IMF_BOTTOM_LEFT;
    ASSERT_NE(imfAllock(dst.get(), IMF_GREY, 1, 2, 2), 0);
    ASSERT_EQ(imfCopyExtendedData(dst.get(), src.get()), IMF_NOERROR);
    imfFree(src.get());
    EXPECT_STREQ(dst->Comment, "comment");
    EXPECT_STREQ(dst->Name, "name");
    ASSERT_NE(dst->Metadata, nullptr);
    EXPECT_EQ(dst->Metadata->Marker, static_cast<TUlong>(IMF_EXIF_METADATA));
    EXPECT_EQ(std::memcmp(dst->Metadata->Data, "exif-bytes", 10), 0);
    ASSERT_NE(dst->Metadata->Next, nullptr);
    EXPECT_EQ(dst->Metadata->Next->Length, 3);
    EXPECT_EQ(dst->Xdpi, 72);
    EXPECT_EQ(dst->Xoffset, 5);
    EXPECT_EQ(dst->Origin, IMF_BOTTOM_LEFT);
}

// A chain linking back to itself (to its head, or an entry to itself) is
// refused: nothing copied.
TEST(ExtendedData, ChainsThatLoopAreRefused) {
    for (int loop_at : {0, 1}) {
        OwnedImf src, dst;
        ASSERT_NE(imfAllock(src.get(), IMF_GREY, 1, 2, 2), 0);
        src->Metadata = Chain("exif-bytes", "xmp");
        IMF_METADATAENTRY *last = src->Metadata->Next;
        last->Next = loop_at == 0 ? src->Metadata : last;
        EXPECT_EQ(imfCopyExtendedData(dst.get(), src.get()), IMF_ERRBADBITMAP) << loop_at;
        EXPECT_EQ(dst->Metadata, nullptr);
        OwnedImf part;
        EXPECT_EQ(imfCopy(src.get(), part.get(), nullptr), IMF_ERRBADPARAMS);
        IMG_BITMAP pub{};
        imge::records::ToImg(&pub, src.get());
        EXPECT_EQ(imgCloneBitmap(&pub), nullptr);
        last->Next = nullptr;
    }
}

TEST(Clone, DeepCopyOfEverythingTheRecordPointsTo) {
    IMG_BITMAP *b = imgCreateBitmap(IMG_COLORS, 7, 3);
    ASSERT_NE(b, nullptr);
    b->Data[5] = 9;
    b->ColorMap->Red[3] = 200;
    b->Comment = strdup("hello");
    b->MetaData = Chain("abc", "de");
    b->XOffset = 4;
    IMG_BITMAP *c = imgCloneBitmap(b);
    ASSERT_NE(c, nullptr);
    EXPECT_NE(c->Data, b->Data);
    EXPECT_NE(c->ColorMap, b->ColorMap);
    EXPECT_NE(c->Comment, b->Comment);
    EXPECT_NE(c->MetaData, b->MetaData);
    EXPECT_EQ(c->Data[5], 9);
    EXPECT_EQ(c->ColorMap->Red[3], 200);
    EXPECT_STREQ(c->Comment, "hello");
    EXPECT_EQ(c->XOffset, 4);
    EXPECT_EQ(c->BytesPerLine, b->BytesPerLine);
    EXPECT_EQ(std::memcmp(static_cast<IMF_METADATAENTRY *>(c->MetaData)->Next->Data, "de", 2), 0);
    imgFreeBitmap(b);
    EXPECT_STREQ(c->Comment, "hello");
    imgFreeBitmap(c);
    EXPECT_EQ(imgCloneBitmap(nullptr), nullptr);
}

TEST(ColorArray, BytesPerTypeInTheTypesOrder) {
    const IMG_COLOR col = {0x110, 0x220, 0x330, 0x1FF};  // low bytes 0x10 0x20 0x30, alpha 0xFF
    struct Case { IMG_BITMAP_TYPE type; IMG_UINT8 expect[4]; };
    const Case cases[] = {
        {IMG_RGB, {0x10, 0x20, 0x30, 0}},       {IMG_BGR, {0x30, 0x20, 0x10, 0}},
        {IMG_RGBA, {0x10, 0x20, 0x30, 0xFF}},   {IMG_BGRA, {0x30, 0x20, 0x10, 0xFF}},
        {IMG_ARGB, {0xFF, 0x10, 0x20, 0x30}},   {IMG_ABGR, {0xFF, 0x30, 0x20, 0x10}},
        {IMG_CMYK, {0xEF, 0xDF, 0xCF, 0}},
        {IMG_GREY, {static_cast<IMG_UINT8>((77 * 0x10 + 150 * 0x20 + 29 * 0x30) >> 8), 0, 0, 0}},
    };
    for (const Case &c : cases) {
        IMG_BITMAP *b = imgCreateBitmap(c.type, 1, 1);
        ASSERT_NE(b, nullptr);
        IMG_UINT8 a[4];
        ASSERT_EQ(imgGetColorArray(b, &col, a), IMG_NO_ERROR);
        EXPECT_EQ(std::memcmp(a, c.expect, 4), 0) << c.type;
        imgFreeBitmap(b);
    }
    IMG_BITMAP *p = imgCreateBitmap(IMG_COLORS, 1, 1);
    p->ColorUsed = 3;
    p->ColorMap->Red[1] = 0x12; p->ColorMap->Green[1] = 0x20; p->ColorMap->Blue[1] = 0x2F;
    p->ColorMap->Red[2] = 0x10; p->ColorMap->Green[2] = 0x20; p->ColorMap->Blue[2] = 0x30;  // exact, but...
    p->ColorMap->Red[5] = 0x10;  // beyond ColorUsed: ignored
    IMG_UINT8 a[4];
    ASSERT_EQ(imgGetColorArray(p, &col, a), IMG_NO_ERROR);
    EXPECT_EQ(a[0], 2);
    imgFreeBitmap(p);
    IMG_BITMAP *bin = imgCreateBitmap(IMG_BINARY, 1, 1);
    EXPECT_NE(imgGetColorArray(bin, &col, a), IMG_NO_ERROR);
    imgFreeBitmap(bin);
}

TEST(Resize, AveragesWhenShrinkingAndInterpolatesWhenGrowing) {
    OwnedImf src, small, big;
    ASSERT_NE(imfAllock(src.get(), IMF_GREY, 1, 4, 2), 0);
    const TUbyte px[8] = {0, 100, 200, 40, 10, 110, 210, 50};
    std::memcpy(src->Data, px, 8);
    ASSERT_EQ(imfResize(src.get(), small.get(), 2, 1, 0), IMF_NOERROR);
    EXPECT_EQ(small->Data[0], (0 + 100 + 10 + 110) / 4);
    EXPECT_EQ(small->Data[1], (200 + 40 + 210 + 50) / 4);
    // Growing: Catmull-Rom, the values Pillow's Image.resize(BICUBIC) gives.
    ASSERT_EQ(imfResize(src.get(), big.get(), 8, 2, 0), IMF_NOERROR);
    const TUbyte grown[8] = {0, 17, 71, 131, 193, 171, 73, 26};
    EXPECT_EQ(std::memcmp(big->Data, grown, 8), 0);
    OwnedImf out;
    EXPECT_EQ(imfResize(src.get(), out.get(), 0, 3, 0), IMF_ERRBADPARAMS);
}

TEST(CopyAndResize, RefuseMalformedRecords) {
    OwnedImf src;
    ASSERT_NE(imfAllock(src.get(), IMF_RGB, 1, 4, 3), 0);
    struct Bad { TLong width, line; TUword pixel; } bad[] = {
        {4, 11, 3}, {4, 12, 200}, {4, 12, 1}, {0x7FFFFFF0, 12, 3}, {4, -256, 3}, {-4, 12, 3}};
    const IMF_BITMAP keep = src.b;
    for (const Bad &r : bad) {
        src->Width = r.width, src->BytesPerLine = r.line, src->BytesPerPixel = r.pixel;
        OwnedImf a, b;
        EXPECT_EQ(imfCopy(src.get(), a.get(), nullptr), IMF_ERRBADPARAMS) << r.width << ' ' << r.line << ' ' << r.pixel;
        EXPECT_EQ(imfResize(src.get(), b.get(), 9, 5, 0), IMF_ERRBADPARAMS) << r.width << ' ' << r.line << ' ' << r.pixel;
        EXPECT_EQ(a->Data, nullptr);
        EXPECT_EQ(b->Data, nullptr);
    }
    src.b = keep;
}

}  // namespace
