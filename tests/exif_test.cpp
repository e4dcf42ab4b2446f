// EXIF orientation and thumbnail parsing on hand-built blocks (both byte
// orders) and on damaged ones, the pixel-dimension rewrite, and the
// scratch-file and rename services.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "jpeg/jxform.h"
#include "libtools.h"
#include "support/exif_block.h"

using testing_support::ExifLayout;
using testing_support::ExifRecipe;
using testing_support::FakeJpeg;
using testing_support::MakeExifBlock;

namespace {

IMF_METADATAENTRY EntryOf(std::vector<uint8_t> &block, size_t length) {
    IMF_METADATAENTRY e{};
    e.Marker = IMF_EXIF_METADATA;
    e.Length = static_cast<TLong>(length);
    e.Data = block.data();
    e.Next = nullptr;
    return e;
}

IMF_METADATAENTRY EntryOf(std::vector<uint8_t> &block) { return EntryOf(block, block.size()); }

class ByteOrder : public testing::TestWithParam<bool> {};

TEST_P(ByteOrder, OrientationIsReadAndRewrittenInTheBlocksOrder) {
    ExifRecipe recipe;
    recipe.big_endian = GetParam();
    recipe.orientation = 6;
    recipe.filler_entries = 3;
    ExifLayout at;
    std::vector<uint8_t> block = MakeExifBlock(recipe, &at);
    const std::vector<uint8_t> before = block;
    IMF_METADATAENTRY e = EntryOf(block);
    int o = 0;
    ASSERT_NE(EXIFGetOrientation(&e, &o), 0);
    EXPECT_EQ(o, 6);

    EXPECT_NE(EXIFSetOrientation(&e, 1), 0);
    const uint8_t want_hi = 0, want_lo = 1;
    EXPECT_EQ(block[at.orientation_value], GetParam() ? want_hi : want_lo);
    EXPECT_EQ(block[at.orientation_value + 1], GetParam() ? want_lo : want_hi);
    // Nothing but those two bytes changed, and the length stayed.
    ASSERT_EQ(block.size(), before.size());
    for (size_t i = 0; i < block.size(); ++i) {
        if (i != at.orientation_value && i != at.orientation_value + 1) {
            ASSERT_EQ(block[i], before[i]) << "byte " << i;
        }
    }
    ASSERT_NE(EXIFGetOrientation(&e, &o), 0);
    EXPECT_EQ(o, 1);
}

TEST_P(ByteOrder, ThumbnailIsFoundWithItsSizeAndOrientation) {
    ExifRecipe recipe;
    recipe.big_endian = GetParam();
    recipe.orientation = 8;
    recipe.thumbnail = FakeJpeg(300);
    recipe.thumb_orientation = 8;
    recipe.thumb_width = 160;
    recipe.thumb_height = 120;
    recipe.pixel_width = 4000;
    recipe.pixel_height = 3000;
    ExifLayout at;
    std::vector<uint8_t> block = MakeExifBlock(recipe, &at);
    EXIFThumbInfo info;
    ASSERT_NE(EXIFThumbGet(block.data(), static_cast<TLong>(block.size()), &info), 0);
    EXPECT_EQ(info.Offset, at.thumb_offset);
    EXPECT_EQ(info.Size, 300u);
    EXPECT_EQ(info.Width, 160u);
    EXPECT_EQ(info.Height, 120u);
    EXPECT_NE(info.HasOrientation, 0u);
    EXPECT_EQ(info.OrientationPtr, block.data() + at.thumb_orientation_value);
    EXPECT_EQ(info.BigEndian != 0, GetParam());
    EXPECT_EQ(block[info.Offset], 0xFF);
    EXPECT_EQ(block[info.Offset + 1], 0xD8);
    // The main orientation comes from IFD0, not from the thumbnail's directory.
    IMF_METADATAENTRY e = EntryOf(block);
    int o = 0;
    ASSERT_NE(EXIFGetOrientation(&e, &o), 0);
    EXPECT_EQ(o, 8);
}

TEST_P(ByteOrder, ThumbnailWithoutSizeOrOrientationEntries) {
    ExifRecipe recipe;
    recipe.big_endian = GetParam();
    recipe.thumbnail = FakeJpeg(64);
    std::vector<uint8_t> block = MakeExifBlock(recipe);
    EXIFThumbInfo info;
    ASSERT_NE(EXIFThumbGet(block.data(), static_cast<TLong>(block.size()), &info), 0);
    EXPECT_EQ(info.Width, 0u);
    EXPECT_EQ(info.Height, 0u);
    EXPECT_EQ(info.HasOrientation, 0u);
    EXPECT_EQ(info.OrientationPtr, nullptr);
    // No orientation in IFD0 either.
    IMF_METADATAENTRY e = EntryOf(block);
    int o = -5;
    EXPECT_EQ(EXIFGetOrientation(&e, &o), 0);
    EXPECT_EQ(o, -5);
    EXPECT_EQ(EXIFSetOrientation(&e, 1), 0);
    // Then the size is the stream's own, from its frame header (after an APP0
    // and fill bytes); a frame header cut short gives none.
    const std::vector<uint8_t> head = {0xFF, 0xD8, 0xFF, 0xE0, 0, 4, 1, 2, 0xFF, 0xFF, 0xCF, 0, 11, 8, 0, 48, 0, 64, 1, 1, 0x11, 0};
    for (size_t cut : {head.size(), size_t{16}}) {
        recipe.thumbnail.assign(head.begin(), head.begin() + static_cast<long>(cut));
        recipe.thumbnail.insert(recipe.thumbnail.end(), {0xFF, 0xD9});
        block = MakeExifBlock(recipe);
        ASSERT_NE(EXIFThumbGet(block.data(), static_cast<TLong>(block.size()), &info), 0);
        EXPECT_EQ(info.Width, cut == head.size() ? 64u : 0u);
        EXPECT_EQ(info.Height, cut == head.size() ? 48u : 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Exif, ByteOrder, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool> &p) {
                             return p.param ? std::string("Motorola") : std::string("Intel");
                         });

TEST(Exif, BlockWithoutIdentifierIsReadAsPlainTiff) {
    ExifRecipe recipe;
    recipe.orientation = 3;
    std::vector<uint8_t> block = MakeExifBlock(recipe);
    block.erase(block.begin(), block.begin() + 6);
    IMF_METADATAENTRY e = EntryOf(block);
    int o = 0;
    ASSERT_NE(EXIFGetOrientation(&e, &o), 0);
    EXPECT_EQ(o, 3);
}

TEST(Exif, SetOrientationRefusesValuesOutsideOneToEight) {
    ExifRecipe recipe;
    recipe.orientation = 6;
    std::vector<uint8_t> block = MakeExifBlock(recipe);
    const std::vector<uint8_t> before = block;
    IMF_METADATAENTRY e = EntryOf(block);
    for (int bad : {0, 9, -1, 65537}) EXPECT_EQ(EXIFSetOrientation(&e, bad), 0) << bad;
    EXPECT_EQ(block, before);
}

// Every prefix of a valid block: the parser must stay inside the given
// length (ASan watches the heap copy) and may only report what fits.

TEST(Exif, ThumbnailOutsideTheBlockOrNotJpegIsRefused) {
    ExifRecipe recipe;
    recipe.thumbnail = FakeJpeg(50);
    ExifLayout at;
    const std::vector<uint8_t> good = MakeExifBlock(recipe, &at);
    EXIFThumbInfo info;
    // Length entry one byte too long.
    std::vector<uint8_t> b = good;
    const size_t len_entry = at.ifd1 + 2 + 12 * 2 + 8;  // compression, offset, length
    b[len_entry] = 51;
    EXPECT_EQ(EXIFThumbGet(b.data(), static_cast<TLong>(b.size()), &info), 0);
    // Offset near 2^32: an addition that wraps must not pass the check.
    b = good;
    const size_t off_entry = at.ifd1 + 2 + 12 * 1 + 8;
    b[off_entry] = 0xFF; b[off_entry + 1] = 0xFF; b[off_entry + 2] = 0xFF; b[off_entry + 3] = 0xFF;
    EXPECT_EQ(EXIFThumbGet(b.data(), static_cast<TLong>(b.size()), &info), 0);
    // A stream that does not start with a JPEG SOI.
    b = good;
    b[at.thumb_offset + 1] = 0xD9;
    EXPECT_EQ(EXIFThumbGet(b.data(), static_cast<TLong>(b.size()), &info), 0);
}

TEST(Exif, SelfLinkedDirectoryIsNotTakenForTheThumbnail) {
    ExifRecipe recipe;
    recipe.orientation = 1;
    recipe.thumbnail = FakeJpeg(20);
    ExifLayout at;
    std::vector<uint8_t> b = MakeExifBlock(recipe, &at);
    // IFD0 (at TIFF offset 8) names itself as the next directory.
    b[at.next_ifd_link] = 8;
    b[at.next_ifd_link + 1] = b[at.next_ifd_link + 2] = b[at.next_ifd_link + 3] = 0;
    EXIFThumbInfo info;
    EXPECT_EQ(EXIFThumbGet(b.data(), static_cast<TLong>(b.size()), &info), 0);
}

std::string Slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void Spit(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

TEST(Files, TemporaryNamesAreFreshAndReserved) {
    char a[512], b[512];
    ASSERT_NE(imfGetTemporaryFilenameA(a, sizeof a), 0);
    ASSERT_NE(imfGetTemporaryFilenameA(b, sizeof b), 0);
    EXPECT_STRNE(a, b);
    struct stat st;
    EXPECT_EQ(stat(a, &st), 0);  // created, so nobody else takes it
    EXPECT_EQ(st.st_size, 0);
    unlink(a);
    unlink(b);
    char tiny[4] = "xyz";
    EXPECT_EQ(imfGetTemporaryFilenameA(tiny, sizeof tiny), 0);
    EXPECT_STREQ(tiny, "");
    EXPECT_EQ(imfGetTemporaryFilenameA(nullptr, 512), 0);
    // A TMPDIR that is missing or not a directory: /tmp instead.
    const char *old = std::getenv("TMPDIR");
    const std::string keep = old ? old : "";
    for (const char *dir : {"/nonexistent-img-dir", "/dev/null"}) {
        setenv("TMPDIR", dir, 1);
        ASSERT_NE(imfGetTemporaryFilenameA(a, sizeof a), 0) << dir;
        EXPECT_EQ(std::string(a).rfind("/tmp/img-", 0), 0u) << a;
        unlink(a);
    }
    if (old) setenv("TMPDIR", keep.c_str(), 1);
    else unsetenv("TMPDIR");
}

TEST(Files, RenameReplacesTheTargetAndFailsCleanly) {
    char dir_buf[] = "/tmp/img-rename-XXXXXX";
    ASSERT_NE(mkdtemp(dir_buf), nullptr);
    const std::string dir = dir_buf;
    Spit(dir + "/new.jp_", "new contents");
    Spit(dir + "/photo.jpg", "old contents");
    EXPECT_EQ(imfFileRename((dir + "/new.jp_").c_str(), (dir + "/photo.jpg").c_str()), 0);
    EXPECT_EQ(Slurp(dir + "/photo.jpg"), "new contents");
    EXPECT_NE(access((dir + "/new.jp_").c_str(), F_OK), 0);
    // A missing source fails and leaves the target alone.
    EXPECT_NE(imfFileRename((dir + "/missing").c_str(), (dir + "/photo.jpg").c_str()), 0);
    EXPECT_EQ(Slurp(dir + "/photo.jpg"), "new contents");
    EXPECT_NE(imfFileRename(nullptr, "x"), 0);
    EXPECT_NE(imfFileRename("", "x"), 0);
    unlink((dir + "/photo.jpg").c_str());
    rmdir(dir.c_str());
}

// /dev/shm is a different file system from /tmp on most machines: there the
// rename has to copy. Skipped where both are the same file system.
TEST(Files, RenameAcrossFileSystemsCopies) {
    struct stat a, b;
    if (stat("/dev/shm", &a) != 0 || stat("/tmp", &b) != 0 || a.st_dev == b.st_dev)
        GTEST_SKIP() << "no second file system to rename across";
    const std::string from = "/dev/shm/img-rename-test-" + std::to_string(getpid());
    const std::string to = "/tmp/img-rename-test-" + std::to_string(getpid());
    std::string payload(200000, 'q');
    payload[12345] = 'Z';
    Spit(from, payload);
    Spit(to, "old");
    ASSERT_EQ(imfFileRename(from.c_str(), to.c_str()), 0);
    EXPECT_EQ(Slurp(to), payload);
    EXPECT_NE(access(from.c_str(), F_OK), 0);
    unlink(to.c_str());
}

// ---- Pixel dimensions rewritten after a turn or crop -----------------------

std::vector<uint8_t> Tiff(const ExifRecipe &recipe) {
    std::vector<uint8_t> b = MakeExifBlock(recipe);
    return std::vector<uint8_t>(b.begin() + 6, b.end());
}

TEST(ExifDimensions, WidthAndHeightBecome32BitValuesInTheBlocksOrder) {
    for (bool big : {false, true}) {
        ExifRecipe recipe;
        recipe.big_endian = big;
        recipe.orientation = 6;
        recipe.filler_entries = 3;
        recipe.pixel_width = 4000;
        recipe.pixel_height = 3000;
        std::vector<uint8_t> t = Tiff(recipe);
        const std::vector<uint8_t> before = t;
        imge::jpeg::SetExifDimensions(t.data(), t.size(), 70000, 17);
        // Sub-directory: after the header (8), IFD0 (2 + 5 * 12 + 4).
        const size_t sub = 8 + 2 + 5 * 12 + 4;
        const std::vector<uint8_t> w_le = {0x02, 0xA0, 4, 0, 1, 0, 0, 0, 0x70, 0x11, 0x01, 0x00};
        const std::vector<uint8_t> w_be = {0xA0, 0x02, 0, 4, 0, 0, 0, 1, 0x00, 0x01, 0x11, 0x70};
        const std::vector<uint8_t> h_le = {0x03, 0xA0, 4, 0, 1, 0, 0, 0, 17, 0, 0, 0};
        const std::vector<uint8_t> h_be = {0xA0, 0x03, 0, 4, 0, 0, 0, 1, 0, 0, 0, 17};
        EXPECT_EQ(std::vector<uint8_t>(t.begin() + long(sub + 2), t.begin() + long(sub + 14)), big ? w_be : w_le);
        EXPECT_EQ(std::vector<uint8_t>(t.begin() + long(sub + 14), t.begin() + long(sub + 26)), big ? h_be : h_le);
        for (size_t i = 0; i < t.size(); ++i)
            if (i < sub + 2 || i >= sub + 26) {
                ASSERT_EQ(t[i], before[i]) << i;
            }
    }
}

TEST(ExifDimensions, ShortEntriesAreWidenedAndDamagedBlocksLeftAlone) {
    ExifRecipe recipe;
    recipe.pixel_width = 640;
    recipe.pixel_height = 480;
    std::vector<uint8_t> t = Tiff(recipe);
    const size_t sub = 8 + 2 + 1 * 12 + 4;
    t[sub + 2 + 2] = 3;  // 0xA002 as SHORT
    t[sub + 2 + 8] = 0x80;
    t[sub + 2 + 9] = 0x02;
    t[sub + 2 + 10] = 0xEE;  // junk in the unused half
    imge::jpeg::SetExifDimensions(t.data(), t.size(), 0x12345, 9);
    EXPECT_EQ(t[sub + 2 + 2], 4);
    EXPECT_EQ(t[sub + 2 + 8], 0x45);
    EXPECT_EQ(t[sub + 2 + 9], 0x23);
    EXPECT_EQ(t[sub + 2 + 10], 0x01);
    EXPECT_EQ(t[sub + 2 + 11], 0x00);

    // Every shorter length: nothing at or beyond the length is touched, and
    // nothing is changed unless the whole entry lies inside.
    const std::vector<uint8_t> whole = Tiff(recipe);
    for (size_t n = 0; n <= whole.size(); ++n) {
        std::vector<uint8_t> copy = whole;
        imge::jpeg::SetExifDimensions(copy.data(), n, 1, 2);
        for (size_t i = n; i < copy.size(); ++i) ASSERT_EQ(copy[i], whole[i]) << n;
        if (n < sub + 14) {
            ASSERT_EQ(copy, whole) << n;
        }
    }
    // Random blocks must not be read or written out of bounds (ASan).
    std::mt19937 rng(5);
    for (int round = 0; round < 2000; ++round) {
        std::vector<uint8_t> r(size_t(rng() % 80));
        for (auto &b : r) b = uint8_t(rng());
        if (r.size() >= 4) {
            r[0] = r[1] = (round & 1) ? 'M' : 'I';
            r[2] = (round & 1) ? 0 : 42;
            r[3] = (round & 1) ? 42 : 0;
        }
        imge::jpeg::SetExifDimensions(r.data(), r.size(), 3, 4);
    }
}

}  // namespace
