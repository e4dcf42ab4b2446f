// The tool's file formats and bitmap conversions: round trips of every
// bitmap type through PNG and PNM, JPEG, malformed files, the EXIF block the
// demo writes (read back with the base library's EXIF services).
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "image.h"
#include "io/image_io.h"
#include "libtools.h"
#include "sample.h"

namespace imge {
namespace tool {
namespace {

Image Random(IMG_BITMAP_TYPE type, int w, int h, unsigned seed) {
    Image img = NewImage(type, w, h);
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y)
        for (IMG_UINT32 i = 0; i < img->BytesPerLine; ++i) Row(*img, y)[i] = static_cast<IMG_UINT8>(rng());
    return img;
}

bool SamePixels(const IMG_BITMAP &a, const IMG_BITMAP &b) {
    if (a.Type != b.Type || a.Width != b.Width || a.Height != b.Height) return false;
    const size_t row = static_cast<size_t>(a.Width) * a.BytesPerPixel;
    for (int y = 0; y < a.Height; ++y)
        if (std::memcmp(Row(a, y), Row(b, y), row) != 0) return false;
    return true;
}

std::string ErrorOf(const Bytes &data) {
    try {
        Decode(data);
    } catch (const ToolError &e) {
        return e.message;
    }
    return "";
}

// One pixel of each layout and the RGB(A) it is written as.
struct CanonCase {
    IMG_BITMAP_TYPE type;
    std::vector<IMG_UINT8> in;
    IMG_BITMAP_TYPE out_type;
    std::vector<IMG_UINT8> out;
};

TEST(ToolFormats, EveryLayoutConvertsToRgbOrGrey) {
    const CanonCase cases[] = {
        {IMG_GREY, {7}, IMG_GREY, {7}},
        {IMG_RGB, {1, 2, 3}, IMG_RGB, {1, 2, 3}},
        {IMG_BGR, {1, 2, 3}, IMG_RGB, {3, 2, 1}},
        {IMG_RGBA, {1, 2, 3, 4}, IMG_RGBA, {1, 2, 3, 4}},
        {IMG_BGRA, {3, 2, 1, 4}, IMG_RGBA, {1, 2, 3, 4}},
        {IMG_ARGB, {4, 1, 2, 3}, IMG_RGBA, {1, 2, 3, 4}},
        {IMG_ABGR, {4, 3, 2, 1}, IMG_RGBA, {1, 2, 3, 4}},
        {IMG_CMYK, {10, 20, 30, 40}, IMG_RGB, {205, 195, 185}},
        {IMG_CMYK, {200, 0, 0, 100}, IMG_RGB, {0, 155, 155}},
    };
    for (const CanonCase &c : cases) {
        Image img = NewImage(c.type, 1, 1);
        std::memcpy(img->Data, c.in.data(), c.in.size());
        Image out = ToCanonical(*img);
        EXPECT_EQ(out->Type, c.out_type) << TypeName(c.type);
        EXPECT_EQ(std::vector<IMG_UINT8>(out->Data, out->Data + c.out.size()), c.out) << TypeName(c.type);
    }
}

TEST(ToolFormats, BinaryAndPaletteConvert) {
    Image bin = NewImage(IMG_BINARY, 10, 1);
    bin->Data[0] = 0xA0;  // pixels 0 and 2 set
    bin->Data[1] = 0x40;  // pixel 9
    Image grey = ToCanonical(*bin);
    ASSERT_EQ(grey->Type, IMG_GREY);
    const std::vector<IMG_UINT8> want = {255, 0, 255, 0, 0, 0, 0, 0, 0, 255};
    EXPECT_EQ(std::vector<IMG_UINT8>(grey->Data, grey->Data + 10), want);

    Image pal = NewImage(IMG_COLORS, 2, 1);
    auto *map = reinterpret_cast<IMF_COLORMAP *>(pal->ColorMap);
    map->Red[1] = 9, map->Green[1] = 8, map->Blue[1] = 7, map->Alpha[1] = 6;
    pal->Data[0] = 1;
    Image rgb = ToCanonical(*pal);
    ASSERT_EQ(rgb->Type, IMG_RGB);
    EXPECT_EQ(std::vector<IMG_UINT8>(rgb->Data, rgb->Data + 6), (std::vector<IMG_UINT8>{9, 8, 7, 0, 0, 0}));
    map->HasAlpha = 1;
    Image rgba = ToCanonical(*pal);
    ASSERT_EQ(rgba->Type, IMG_RGBA);
    EXPECT_EQ(std::vector<IMG_UINT8>(rgba->Data, rgba->Data + 4), (std::vector<IMG_UINT8>{9, 8, 7, 6}));
}

TEST(ToolFormats, PngKeepsGreyRgbRgbaAndPalettes) {
    const int sizes[][2] = {{1, 1}, {7, 3}, {33, 17}};
    unsigned seed = 1;
    for (IMG_BITMAP_TYPE type : {IMG_GREY, IMG_RGB, IMG_RGBA})
        for (const auto &s : sizes) {
            Image img = Random(type, s[0], s[1], seed++);
            Image back = Decode(EncodePng(*img));
            EXPECT_TRUE(SamePixels(*img, *back)) << TypeName(type) << " " << s[0] << "x" << s[1];
        }
    for (int alpha = 0; alpha < 2; ++alpha) {
        Image pal = Random(IMG_COLORS, 9, 5, seed++);
        auto *map = reinterpret_cast<IMF_COLORMAP *>(pal->ColorMap);
        for (int k = 0; k < 256; ++k) {
            map->Red[k] = static_cast<TUbyte>(k), map->Green[k] = static_cast<TUbyte>(255 - k);
            map->Blue[k] = static_cast<TUbyte>(k * 7), map->Alpha[k] = alpha ? static_cast<TUbyte>(k / 2) : 255;
        }
        map->HasAlpha = static_cast<TByte>(alpha);
        Image back = Decode(EncodePng(*pal));
        ASSERT_TRUE(SamePixels(*pal, *back)) << "palette, alpha " << alpha;
        const auto *got = reinterpret_cast<const IMF_COLORMAP *>(back->ColorMap);
        EXPECT_EQ(back->ColorUsed, 256);
        EXPECT_EQ(std::memcmp(got->Red, map->Red, 256), 0);
        EXPECT_EQ(std::memcmp(got->Blue, map->Blue, 256), 0);
        EXPECT_EQ(got->HasAlpha, alpha);
        if (alpha) {
            EXPECT_EQ(std::memcmp(got->Alpha, map->Alpha, 256), 0);
        }
    }
}

TEST(ToolFormats, OtherLayoutsAreWrittenInRgbOrder) {
    Image bgr = Random(IMG_BGR, 5, 4, 99);
    Image back = Decode(EncodePng(*bgr));
    ASSERT_EQ(back->Type, IMG_RGB);
    EXPECT_TRUE(SamePixels(*ToCanonical(*bgr), *back));
    Image argb = Random(IMG_ARGB, 5, 4, 98);
    Image back2 = Decode(EncodePng(*argb));
    ASSERT_EQ(back2->Type, IMG_RGBA);
    EXPECT_TRUE(SamePixels(*ToCanonical(*argb), *back2));
}

TEST(ToolFormats, PnmRoundTripAndHeaderForms) {
    for (IMG_BITMAP_TYPE type : {IMG_GREY, IMG_RGB}) {
        Image img = Random(type, 13, 6, 5);
        EXPECT_TRUE(SamePixels(*img, *Decode(EncodePnm(*img)))) << TypeName(type);
    }
    const std::string header = "P6 # comment\n2 # width\n1\n65535\n";
    Bytes p6(header.begin(), header.end());
    for (int v : {0, 0xFFFF, 0x8080, 0x0101, 0x7F7F, 0x1234}) {
        p6.push_back(static_cast<std::uint8_t>(v >> 8));
        p6.push_back(static_cast<std::uint8_t>(v & 0xFF));
    }
    Image img = Decode(p6);
    ASSERT_EQ(img->Type, IMG_RGB);
    // v * 255 / 65535 rounded: 0, 255, 128, 1, 127, 18.
    EXPECT_EQ(std::vector<IMG_UINT8>(img->Data, img->Data + 6), (std::vector<IMG_UINT8>{0, 255, 128, 1, 127, 18}));
}

TEST(ToolFormats, JpegGreyAndColour) {
    Image grey = NewImage(IMG_GREY, 16, 8);
    std::memset(grey->Data, 77, 16 * 8);
    Image g = Decode(EncodeJpeg(*grey, SaveOptions{}));
    ASSERT_EQ(g->Type, IMG_GREY);
    EXPECT_EQ(g->Width, 16);
    EXPECT_EQ(g->Data[37], 77);  // a flat picture survives exactly
    Image rgba = NewImage(IMG_RGBA, 9, 9);
    for (int i = 0; i < 81; ++i) std::memcpy(rgba->Data + 4 * i, "\xC8\x64\x32\x00", 4);
    SaveOptions opt;
    opt.jpeg_quality = 100;
    Image c = Decode(EncodeJpeg(*rgba, opt));
    ASSERT_EQ(c->Type, IMG_RGB);
    EXPECT_NEAR(c->Data[0], 200, 2);
    EXPECT_NEAR(c->Data[1], 100, 2);
    EXPECT_NEAR(c->Data[2], 50, 2);
}

TEST(ToolFormats, MalformedFilesAreRefusedWithAReason) {
    Image img = Random(IMG_RGB, 20, 20, 3);
    Bytes png = EncodePng(*img), jpg = EncodeJpeg(*img, SaveOptions{});
    EXPECT_NE(ErrorOf(Bytes(png.begin(), png.begin() + 40)).find("bad PNG file"), std::string::npos);
    Bytes bad_crc = png;
    bad_crc[30] ^= 0xFF;  // inside IHDR
    EXPECT_NE(ErrorOf(bad_crc).find("bad PNG file"), std::string::npos);
    EXPECT_NE(ErrorOf(Bytes(jpg.begin(), jpg.begin() + 200)).find("bad JPEG file"), std::string::npos);
    EXPECT_NE(ErrorOf(Bytes{'G', 'I', 'F', '8'}).find("unsupported format"), std::string::npos);
    const std::string p5 = "P5\n3 3\n255\n\x01\x02";
    EXPECT_NE(ErrorOf(Bytes(p5.begin(), p5.end())).find("truncated"), std::string::npos);
    const std::string zero = "P5\n0 3\n255\n";
    EXPECT_NE(ErrorOf(Bytes(zero.begin(), zero.end())).find("empty picture"), std::string::npos);
    const std::string huge = "P5\n99999999999 3\n255\n";
    EXPECT_NE(ErrorOf(Bytes(huge.begin(), huge.end())).find("too large"), std::string::npos);
    const std::string maxval = "P5\n1 1\n70000\n\x01";
    EXPECT_NE(ErrorOf(Bytes(maxval.begin(), maxval.end())).find("maximum value"), std::string::npos);
}

TEST(ToolFormats, NamesChooseTheOutputFormat) {
    Format f;
    EXPECT_TRUE(FormatForName("a/b.PNG", &f) && f == Format::Png);
    EXPECT_TRUE(FormatForName("x.jpeg", &f) && f == Format::Jpeg);
    EXPECT_TRUE(FormatForName("x.JPG", &f) && f == Format::Jpeg);
    EXPECT_TRUE(FormatForName("x.pgm", &f) && f == Format::Pnm);
    EXPECT_FALSE(FormatForName("x.gif", &f));
    EXPECT_FALSE(FormatForName("dir.png/file", &f));
    EXPECT_FALSE(FormatForName("noext", &f));
}

TEST(ToolSample, ExifBlockReadsBackThroughTheBaseLibrary) {
    const Bytes thumb = {0xFF, 0xD8, 0xFF, 0xD9, 1, 2, 3};
    Bytes app1 = MakeExifBlock(6, thumb, 16, 12);
    ASSERT_EQ(std::memcmp(app1.data(), "Exif\0\0", 6), 0);
    IMF_METADATAENTRY entry{IMF_EXIF_METADATA, static_cast<TLong>(app1.size()), app1.data(), nullptr};
    int orientation = 0;
    ASSERT_NE(EXIFGetOrientation(&entry, &orientation), 0);
    EXPECT_EQ(orientation, 6);
    EXIFThumbInfo info{};
    ASSERT_NE(EXIFThumbGet(app1.data(), static_cast<TLong>(app1.size()), &info), 0);
    EXPECT_EQ(info.Size, thumb.size());
    EXPECT_EQ(info.Width, 16u);
    EXPECT_EQ(info.Height, 12u);
    EXPECT_NE(info.HasOrientation, 0u);
}

TEST(ToolSample, PhotoIsDeterministicAndVaried) {
    Image a = MakeSamplePhoto(64, 48), b = MakeSamplePhoto(64, 48);
    EXPECT_TRUE(SamePixels(*a, *b));
    int lo = 255, hi = 0;
    for (int i = 0; i < 64 * 48 * 3; ++i) {
        lo = std::min<int>(lo, a->Data[i]);
        hi = std::max<int>(hi, a->Data[i]);
    }
    EXPECT_LT(lo, 40);
    EXPECT_GT(hi, 230);
}

}  // namespace
}  // namespace tool
}  // namespace imge
