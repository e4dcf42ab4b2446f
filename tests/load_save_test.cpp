// Loading and saving through the base library: result codes and messages,
// the metadata chain through JPEG and PNG, EXIF kept consistent with the
// saved geometry.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "libtools.h"
#include "support/exif_block.h"
#include "support/jpeg_files.h"

namespace {

using testing_support::ExifRecipe;
using testing_support::TempDir;

std::vector<uint8_t> Block(const IMG_BITMAP *b, TUlong marker) {
    for (auto *e = static_cast<IMF_METADATAENTRY *>(b->MetaData); e; e = e->Next)
        if (e->Marker == marker) {
            auto *p = static_cast<uint8_t *>(e->Data);
            return std::vector<uint8_t>(p, p + e->Length);
        }
    return {};
}

// Appends one PNG chunk: length, type, data, CRC of type and data.
void AppendChunk(std::vector<uint8_t> &png, const char *type, std::vector<uint8_t> data) {
    for (int k = 0; k < 4; ++k) png.push_back(uint8_t(data.size() >> (24 - 8 * k)));
    data.insert(data.begin(), type, type + 4);
    uint32_t crc = 0xFFFFFFFF;
    for (uint8_t byte : data) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (0xEDB88320 & (0 - (crc & 1)));
    }
    png.insert(png.end(), data.begin(), data.end());
    for (int k = 0; k < 4; ++k) png.push_back(uint8_t(~crc >> (24 - 8 * k)));
}

// A grey PNG whose header declares `side` x `side` pixels and whose data
// then ends.
std::vector<uint8_t> PngDeclaring(uint32_t side) {
    std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    std::vector<uint8_t> header;
    for (int k = 0; k < 8; ++k) header.push_back(uint8_t(side >> (24 - 8 * (k % 4))));
    header.insert(header.end(), {8, 0, 0, 0, 0});
    AppendChunk(png, "IHDR", header);
    AppendChunk(png, "IDAT", {});
    return png;
}

TEST(LoadSave, ResultCodesAndReasons) {
    TempDir dir;
    testing_support::WriteFileBytes(dir.File("bomb.png"), PngDeclaring(60000));
    testing_support::WriteFileBytes(dir.File("bomb.jpg"), testing_support::JpegDeclaring(61500));
    testing_support::WriteFileBytes(dir.File("scans.jpg"), testing_support::JpegWithScansRepeated(600));
    testing_support::WriteFileBytes(dir.File("ok-scans.jpg"), testing_support::JpegWithScansRepeated(400));
    testing_support::WriteFileBytes(dir.File("gif.png"), {'G', 'I', 'F', '8', '9', 'a'});
    testing_support::WriteFileBytes(dir.File("cut.pgm"), {'P', '5', ' ', '4', ' ', '4', ' ', '2', '5', '5', ' ', 0});
    IMG_BITMAP *grey = imgCreateBitmap(IMG_GREY, 4, 4);
    struct Case {
        std::string what;
        IMG_ERROR code;
        std::string reason;  // part of the message
    } cases[] = {
        {"load missing", IMG_ERROR_FILE_OPEN, "No such file"},
        {"load dir", IMG_ERROR_FILE_OPEN, "directory"},
        {"load gif.png", IMG_ERROR_UNKNOWN_FORMAT, "unsupported format"},
        {"load cut.pgm", IMG_ERROR_FILE_READ, "truncated"},
        {"load bomb.png", IMG_ERROR_FILE_READ, "too large for the file"},
        {"load bomb.jpg", IMG_ERROR_FILE_READ, "too large for the file"},
        {"load scans.jpg", IMG_ERROR_FILE_READ, "more than 500 scans"},
        {"save x.gif", IMG_ERROR_UNKNOWN_FORMAT, "format"},
        {"save nodir/x.png", IMG_ERROR_FILE_CREATE, "No such file"},
    };
    for (const Case &c : cases) {
        const std::string name = c.what.substr(5);
        const std::string path = name == "dir" ? dir.path() : dir.File(name);
        char message[128];
        IMG_BITMAP *b = grey;
        const IMG_LOAD_OPTIONS damaged_too{1, 0};  // the bounds hold even then
        const IMG_ERROR rc = c.what[0] == 'l' ? imgLoadBitmapMessage(path.c_str(), &damaged_too, &b, message, 128)
                                              : imgSaveBitmapMessage(path.c_str(), grey, nullptr, message, 128);
        EXPECT_EQ(rc, c.code) << c.what;
        EXPECT_NE(std::string(message).find(c.reason), std::string::npos) << c.what << ": " << message;
        if (c.what[0] == 'l') {
            EXPECT_EQ(b, nullptr) << c.what;
        }
        EXPECT_STRNE(imgErrorString(rc), "unknown result code");
    }
    // JPEG's sides: 65500 pixels is the longest it takes.
    for (int width : {65500, 65501}) {
        IMG_BITMAP *wide = imgCreateBitmap(IMG_GREY, width, 1);
        char message[128] = "";
        EXPECT_EQ(imgSaveBitmapMessage(dir.File("wide.jpg").c_str(), wide, nullptr, message, 128),
                  width == 65500 ? IMG_NO_ERROR : IMG_ERROR_BAD_BITMAP)
            << width;
        if (width > 65500) {
            EXPECT_NE(std::string(message).find("pixels a side"), std::string::npos) << message;
        }
        imgFreeBitmap(wide);
    }
    const IMG_LOAD_OPTIONS damaged_too{1, 0};
    IMG_BITMAP *scans = nullptr;
    EXPECT_EQ(imgLoadBitmapEx(dir.File("ok-scans.jpg").c_str(), &damaged_too, &scans), IMG_NO_ERROR);
    imgFreeBitmap(scans);
    IMG_BITMAP *none = grey;
    EXPECT_EQ(imgLoadBitmap(nullptr, &none), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_EQ(none, nullptr);
    imgFreeBitmap(grey);
}

// Every block comes back byte for byte from JPEG and from PNG (and from PNG
// back into JPEG); the EXIF pixel size follows the bitmap and a thumbnail
// that no longer matches is dropped; the resolution is kept.
// A profile header as PNG writers check it (size, RGB, XYZ, 'acsp', D50,
// no tags) followed by filler.
std::vector<uint8_t> IccLike(uint32_t size) {
    std::vector<uint8_t> p(size, 'c');
    std::memset(p.data(), 0, 132);
    for (int k = 0; k < 4; ++k) p[k] = uint8_t(size >> (24 - 8 * k));
    std::memcpy(&p[12], "mntrRGB XYZ ", 12);
    std::memcpy(&p[36], "acsp", 4);
    const uint8_t d50[12] = {0, 0, 0xf6, 0xd6, 0, 1, 0, 0, 0, 0, 0xd3, 0x2d};
    std::memcpy(&p[68], d50, 12);
    return p;
}

TEST(LoadSave, MetadataTravelsThroughJpegAndPng) {
    TempDir dir;
    ExifRecipe r;
    r.orientation = 6;
    r.thumbnail = testing_support::FakeJpeg(64);
    for (bool resized : {false, true}) {
        r.pixel_width = resized ? 40 : 24;
        r.pixel_height = resized ? 30 : 16;
        const std::vector<std::vector<uint8_t>> blocks = {
            testing_support::MakeExifBlock(r), std::vector<uint8_t>(700, 'i'),
            std::vector<uint8_t>(70000, 'x'),  // XMP beyond one JPEG marker stays in PNG only
            IccLike(150000)};  // ICC in three JPEG chunks
        IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, 24, 16);
        b->Xdpi = b->Ydpi = 300;
        // The chain holds IPTC before EXIF: the EXIF block is found by its
        // marker, not by its place.
        const int order[4] = {1, 0, 2, 3};
        IMF_METADATAENTRY entries[4];
        for (int i = 0; i < 4; ++i) {
            const int k = order[i];
            entries[k] = IMF_METADATAENTRY{TUlong(k + 1), TLong(blocks[k].size()),
                                           const_cast<uint8_t *>(blocks[k].data()),
                                           i < 3 ? &entries[order[i + 1]] : nullptr};
        }
        b->MetaData = &entries[order[0]];
        for (const char *first : {"a.png", "a.jpg"}) {
            const std::string p1 = dir.File(first), p2 = dir.File(first[2] == 'p' ? "b.jpg" : "b.png");
            ASSERT_EQ(imgSaveBitmap(p1.c_str(), b, nullptr), IMG_NO_ERROR);
            IMG_BITMAP *l1 = nullptr, *l2 = nullptr;
            ASSERT_EQ(imgLoadBitmap(p1.c_str(), &l1), IMG_NO_ERROR);
            ASSERT_EQ(imgSaveBitmap(p2.c_str(), l1, nullptr), IMG_NO_ERROR);
            ASSERT_EQ(imgLoadBitmap(p2.c_str(), &l2), IMG_NO_ERROR);
            for (IMG_BITMAP *l : {l1, l2}) {
                const bool png_only = std::string(first) == "a.png" && l == l1;
                EXPECT_EQ(l->Xdpi, 300);
                const std::vector<uint8_t> exif = Block(l, IMF_EXIF_METADATA);
                EXIFThumbInfo info;
                EXPECT_EQ(EXIFThumbGet(exif.data(), TLong(exif.size()), &info), resized ? 0 : 1) << first;
                EXPECT_EQ(exif == blocks[0], !resized) << first;
                IMF_METADATAENTRY e{IMF_EXIF_METADATA, TLong(exif.size()), const_cast<uint8_t *>(exif.data()), nullptr};
                int o = 0;
                EXPECT_TRUE(EXIFGetOrientation(&e, &o) && o == 6);
                EXPECT_EQ(Block(l, IMF_IPTC_METADATA), blocks[1]);
                EXPECT_EQ(Block(l, IMF_XMP_METADATA).size(), png_only ? blocks[2].size() : 0u);
                EXPECT_EQ(Block(l, IMF_ICC_METADATA), blocks[3]);
            }
            imgFreeBitmap(l1);
            imgFreeBitmap(l2);
        }
        b->MetaData = nullptr;
        imgFreeBitmap(b);
    }
}

// IPTC in a PNG text chunk as other programs write it: the raw-profile hex
// digits in either case.
TEST(LoadSave, PngRawProfileHexInEitherCase) {
    TempDir dir;
    const std::string path = dir.File("t.png");
    IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, 3, 2);
    ASSERT_EQ(imgSaveBitmap(path.c_str(), b, nullptr), IMG_NO_ERROR);
    imgFreeBitmap(b);
    std::vector<uint8_t> plain = testing_support::ReadFileBytes(path);
    ASSERT_GT(plain.size(), 12u);
    plain.resize(plain.size() - 12);  // without IEND
    for (const char *hex : {"deadbeef", "DEADBEEF", "DeAdBeEf"}) {
        std::vector<uint8_t> png = plain;
        const std::string text = std::string("Raw profile type 8bim") + '\0' + "\n8bim\n       4\n" + hex + "\n";
        AppendChunk(png, "tEXt", std::vector<uint8_t>(text.begin(), text.end()));
        AppendChunk(png, "IEND", {});
        testing_support::WriteFileBytes(path, png);
        IMG_BITMAP *l = nullptr;
        ASSERT_EQ(imgLoadBitmap(path.c_str(), &l), IMG_NO_ERROR) << hex;
        EXPECT_EQ(Block(l, IMF_IPTC_METADATA), (std::vector<uint8_t>{0xDE, 0xAD, 0xBE, 0xEF})) << hex;
        imgFreeBitmap(l);
    }
}

}  // namespace
