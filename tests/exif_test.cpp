// EXIF orientation and thumbnail parsing on hand-built blocks (both byte
// orders) and on damaged ones, and the scratch-file and rename services.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

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

TEST(Exif, NullAndEmptyArgumentsGiveZero) {
    int o = 0;
    std::vector<uint8_t> block = MakeExifBlock(ExifRecipe{});
    IMF_METADATAENTRY e = EntryOf(block);
    EXPECT_EQ(EXIFGetOrientation(nullptr, &o), 0);
    EXPECT_EQ(EXIFGetOrientation(&e, nullptr), 0);
    EXPECT_EQ(EXIFSetOrientation(nullptr, 1), 0);
    IMF_METADATAENTRY empty{};
    EXPECT_EQ(EXIFGetOrientation(&empty, &o), 0);
    empty.Data = block.data();
    empty.Length = -4;
    EXPECT_EQ(EXIFGetOrientation(&empty, &o), 0);
    EXIFThumbInfo info;
    EXPECT_EQ(EXIFThumbGet(nullptr, 100, &info), 0);
    EXPECT_EQ(EXIFThumbGet(block.data(), 0, &info), 0);
    EXPECT_EQ(EXIFThumbGet(block.data(), static_cast<TLong>(block.size()), nullptr), 0);
}

// Every prefix of a valid block: the parser must stay inside the given
// length (ASan watches the heap copy) and may only report what fits.
TEST(Exif, TruncatedBlocksNeverReadPastTheirLength) {
    for (bool big : {false, true}) {
        ExifRecipe recipe;
        recipe.big_endian = big;
        recipe.orientation = 6;
        recipe.thumbnail = FakeJpeg(40);
        recipe.thumb_orientation = 6;
        recipe.thumb_width = 8;
        recipe.thumb_height = 8;
        ExifLayout at;
        const std::vector<uint8_t> full = MakeExifBlock(recipe, &at);
        for (size_t n = 0; n <= full.size(); ++n) {
            std::vector<uint8_t> cut(full.begin(), full.begin() + long(n));
            cut.shrink_to_fit();
            IMF_METADATAENTRY e = EntryOf(cut);
            int o = 0;
            const int got = EXIFGetOrientation(&e, &o);
            EXPECT_EQ(got != 0, n >= at.orientation_value + 4) << n;  // the whole entry
            EXIFThumbInfo info;
            const int thumb = EXIFThumbGet(cut.data(), static_cast<TLong>(n), &info);
            EXPECT_EQ(thumb != 0, n == full.size()) << n;
        }
    }
}

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

TEST(Exif, HugeEntryCountIsBoundedByTheBlock) {
    ExifRecipe recipe;
    recipe.orientation = 6;
    std::vector<uint8_t> b = MakeExifBlock(recipe);
    b[6 + 8] = 0xFF;  // IFD0 entry count (Intel order) = 0x..FF
    b[6 + 9] = 0xFF;
    IMF_METADATAENTRY e = EntryOf(b);
    int o = 0;
    // The first entry still is the orientation; the rest is cut by the block.
    EXPECT_NE(EXIFGetOrientation(&e, &o), 0);
    b[6 + 10] = 0x01;  // tag of entry 0 no longer 0x0112
    EXPECT_EQ(EXIFGetOrientation(&e, &o), 0);
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

}  // namespace
