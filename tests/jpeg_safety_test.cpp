// Replacing files safely: the in-place functions' work file and names, and
// every way a call can fail (bad or damaged input, a destination that cannot
// be written, a full disk, a crop outside the picture) leaving the source's
// bytes as they were.
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "libformat.h"
#include "libimge.h"
#include "support/exif_block.h"
#include "support/jpeg_files.h"

using namespace testing_support;

namespace {

Bytes SmallJpeg(unsigned seed = 3) {
    JpegRecipe s;
    s.width = 75;
    s.height = 50;
    s.seed = seed;
    return MakeJpeg(s);
}

class Replace : public testing::Test {
  protected:
    std::string Put(const std::string &name, const Bytes &b) {
        const std::string p = dir_.File(name);
        WriteFileBytes(p, b);
        return p;
    }
    TempDir dir_;
};

TEST_F(Replace, InPlaceGoesThroughTheWorkFileAndKeepsThePermissions) {
    const Bytes original = SmallJpeg();
    const std::string photo = Put("photo.jpg", original);
    ASSERT_EQ(chmod(photo.c_str(), 0640), 0);
    ASSERT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, IMF_LOSSLESS_TRIM), 1);
    EXPECT_FALSE(FileExists(dir_.File("photo.jp_")));
    struct stat st;
    ASSERT_EQ(stat(photo.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    const JpegInfo info = ReadJpegInfo(ReadFileBytes(photo));
    EXPECT_EQ(info.width, 48);  // 50 rotated, trimmed to whole iMCUs
    EXPECT_EQ(info.height, 75);
    if (HaveProgram("jpegtran")) {
        const std::string src = Put("copy.jpg", original), want = dir_.File("want.jpg");
        ASSERT_TRUE(RunJpegtran("-copy all -optimize -trim -rotate 90", src, want));
        EXPECT_EQ(ReadFileBytes(photo), ReadFileBytes(want));
        ASSERT_EQ(imfJpegLosslessCrop(src.c_str(), 10, 20, 30, 20, 1), 1);
        ASSERT_TRUE(RunJpegtran("-copy all -optimize -trim -crop 30x20+10+20", dir_.File("photo.jpg"), want));
        const std::string again = Put("again.jpg", original);
        ASSERT_EQ(imfJpegLosslessCropEx(again.c_str(), want.c_str(), 10, 20, 30, 20, 1), 1);
        EXPECT_EQ(ReadFileBytes(src), ReadFileBytes(want));
        EXPECT_FALSE(FileExists(dir_.File("copy.jp_")));
    }
}

TEST_F(Replace, NamesTheWorkFileCannotBeMadeForAreRefusedBeforeAnythingIsWritten) {
    const Bytes original = SmallJpeg();
    EXPECT_EQ(imfJpegLosslessTransform("", IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    EXPECT_EQ(imfJpegLosslessTransform(nullptr, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    EXPECT_EQ(imfJpegLosslessCrop(nullptr, 0, 0, 8, 8, 0), 0);
    // A name ending in '_' would be its own work file.
    const std::string underscore = Put("photo.jp_", original);
    EXPECT_EQ(imfJpegLosslessTransform(underscore.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    EXPECT_EQ(imfJpegLosslessCrop(underscore.c_str(), 0, 0, 8, 8, 0), 0);
    EXPECT_EQ(ReadFileBytes(underscore), original);
    // 511 characters fit the 512-byte work name, 512 do not.
    std::string path = dir_.path();
    while (path.size() + 1 + 200 < 511) {
        path += "/" + std::string(200, 'd');
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    }
    const std::string fits = path + "/" + std::string(511 - path.size() - 1 - 4, 'f') + ".jpg";
    ASSERT_EQ(fits.size(), 511u);
    WriteFileBytes(fits, original);
    EXPECT_EQ(imfJpegLosslessTransform(fits.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE180, 0), 1);
    EXPECT_NE(ReadFileBytes(fits), original);
    const std::string too_long = path + "/" + std::string(511 - path.size() - 4, 'f') + ".jpg";
    ASSERT_EQ(too_long.size(), 512u);
    WriteFileBytes(too_long, original);
    EXPECT_EQ(imfJpegLosslessTransform(too_long.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE180, 0), 0);
    EXPECT_EQ(imfJpegLosslessCrop(too_long.c_str(), 0, 0, 8, 8, 0), 0);
    EXPECT_EQ(ReadFileBytes(too_long), original);
    EXPECT_FALSE(FileExists(too_long.substr(0, 511) + "_"));
}

TEST_F(Replace, AWorkFileThatCannotBeWrittenLeavesTheSource) {
    const Bytes original = SmallJpeg();
    const std::string photo = Put("photo.jpg", original);
    ASSERT_EQ(mkdir(dir_.File("photo.jp_").c_str(), 0700), 0);  // fopen(.., "wb") fails even for root
    EXPECT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    EXPECT_EQ(imfJpegLosslessCrop(photo.c_str(), 0, 0, 16, 16, 0), 0);
    EXPECT_EQ(imgJpegLosslessTransform(photo.c_str(), IMG_LOSSLESS_TRANSFORM_ROTATE90), IMG_UNKNOWN_ERROR);
    EXPECT_EQ(ReadFileBytes(photo), original);
}

// The work file is made only where its name is free; links are not followed
// into it; a source that is not a regular file is refused without waiting.
TEST_F(Replace, WorkFileNamesThatAreTakenAndSourcesThatAreNotFiles) {
    const Bytes original = SmallJpeg(), other = SmallJpeg(5);
    struct Case { const char *what; bool link; } cases[] = {{"planted link", true}, {"existing file", false}};
    for (const Case &c : cases) {
        const std::string photo = Put("photo.jpg", original), victim = Put("victim", other);
        ASSERT_EQ(chmod(victim.c_str(), 0600), 0);
        const std::string work = dir_.File("photo.jp_");
        if (c.link) ASSERT_EQ(symlink(victim.c_str(), work.c_str()), 0);
        else WriteFileBytes(work, other);
        EXPECT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0) << c.what;
        struct stat st;
        ASSERT_EQ(lstat(work.c_str(), &st), 0) << c.what;
        EXPECT_EQ(S_ISLNK(st.st_mode), c.link) << c.what;
        EXPECT_EQ(ReadFileBytes(photo), original) << c.what;
        EXPECT_EQ(ReadFileBytes(work), other) << c.what;
        ASSERT_EQ(stat(victim.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u) << c.what;
        unlink(work.c_str());
    }
    // Through a symbolic link: the target changes, the link stays.
    const std::string target = Put("target.jpg", original), link = dir_.File("link.jpg");
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
    EXPECT_EQ(imfJpegLosslessTransform(link.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE180, 0), 1);
    struct stat st;
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_NE(ReadFileBytes(target), original);
    // A FIFO (no writer ever comes) and a directory.
    const std::string fifo = dir_.File("fifo.jpg");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string &src : {fifo, dir_.path()}) {
        EXPECT_EQ(imfJpegLosslessTransformEx(src.c_str(), dir_.File("out.jpg").c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
        EXPECT_EQ(imfJpegLosslessTransform(src.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    }
}

// Two processes turning the same file at once: each call that reports success
// has its turn in the file, the other fails and changes nothing.
TEST_F(Replace, TwoInPlaceTransformsAtOnce) {
    const Bytes original = SmallJpeg();
    const std::string photo = Put("photo.jpg", original), src = Put("src.jpg", original);
    const std::string once = dir_.File("once.jpg"), twice = dir_.File("twice.jpg");
    ASSERT_EQ(imfJpegLosslessTransformEx(src.c_str(), once.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 1);
    ASSERT_EQ(imfJpegLosslessTransformEx(once.c_str(), twice.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 1);
    for (int round = 0; round < 10; ++round) {
        WriteFileBytes(photo, original);
        pid_t kids[2];
        for (pid_t &k : kids)
            if ((k = fork()) == 0)
                _exit(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0) == 1 ? 0 : 1);
        int ok = 0;
        for (pid_t k : kids) {
            int status = 0;
            ASSERT_EQ(waitpid(k, &status, 0), k);
            ok += WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        const Bytes got = ReadFileBytes(photo);
        EXPECT_EQ(got, ok == 2 ? ReadFileBytes(twice) : ok == 1 ? ReadFileBytes(once) : original) << round;
        EXPECT_FALSE(FileExists(dir_.File("photo.jp_")));
    }
}

TEST_F(Replace, AReadOnlyFolderLeavesTheSource) {
    if (geteuid() == 0) GTEST_SKIP() << "permission bits do not stop root";
    const Bytes original = SmallJpeg();
    const std::string photo = Put("photo.jpg", original);
    ASSERT_EQ(chmod(dir_.path().c_str(), 0555), 0);
    EXPECT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    EXPECT_EQ(imfJpegLosslessCrop(photo.c_str(), 0, 0, 16, 16, 0), 0);
    chmod(dir_.path().c_str(), 0700);
    EXPECT_EQ(ReadFileBytes(photo), original);
    EXPECT_FALSE(FileExists(dir_.File("photo.jp_")));
}

TEST_F(Replace, AFullDiskGivesFailureNeverATruncatedFile) {
    const std::string src = Put("src.jpg", SmallJpeg());
    if (FileExists("/dev/full")) {
        EXPECT_EQ(imfJpegLosslessTransformEx(src.c_str(), "/dev/full", IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    }
    // In place on a small file system that holds the source but not a
    // second copy of it.
    JpegRecipe big;
    big.width = 400;
    big.height = 300;
    big.sampling = Sampling::k444;
    big.quality = 95;
    const Bytes original = MakeJpeg(big);
    ASSERT_GT(original.size(), 32u * 1024);
    const size_t pages = (original.size() * 3 / 2 + 4095) / 4096;
    const std::string mnt = dir_.File("small");
    ASSERT_EQ(mkdir(mnt.c_str(), 0700), 0);
    const std::string options = "size=" + std::to_string(pages * 4) + "k";
    if (mount("tmpfs", mnt.c_str(), "tmpfs", 0, options.c_str()) != 0) GTEST_SKIP() << "cannot mount a tmpfs here";
    const std::string photo = mnt + "/photo.jpg";
    WriteFileBytes(photo, original);
    const bool fits = ReadFileBytes(photo) == original;
    if (fits) {
        EXPECT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
        EXPECT_EQ(imfJpegLosslessCrop(photo.c_str(), 0, 0, 390, 290, 0), 0);
        EXPECT_EQ(imgJpegLosslessTransform(photo.c_str(), IMG_LOSSLESS_TRANSFORM_ROTATE180), IMG_UNKNOWN_ERROR);
        // The source as destination, spelt otherwise or through a hard link.
        const std::string hard = mnt + "/hard.jpg";
        ASSERT_EQ(link(photo.c_str(), hard.c_str()), 0);
        for (const std::string &dst : {mnt + "/./photo.jpg", hard})
            EXPECT_EQ(imfJpegLosslessTransformEx(photo.c_str(), dst.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
        unlink(hard.c_str());
        EXPECT_EQ(ReadFileBytes(photo), original);
        EXPECT_FALSE(FileExists(mnt + "/photo.jp_"));
    }
    umount(mnt.c_str());
    EXPECT_TRUE(fits) << "the source itself did not fit";
}

TEST_F(Replace, BadInputFailsAndLeavesTheSource) {
    const Bytes good = SmallJpeg();
    const Bytes text = {'n', 'o', 't', ' ', 'a', ' ', 'J', 'P', 'E', 'G', '\n'};
    const Bytes header_cut(good.begin(), good.begin() + 100);  // inside the tables
    const Bytes empty;
    for (const Bytes *b : {&text, &header_cut, &empty}) {
        const std::string photo = Put("photo.jpg", *b), out = dir_.File("out.jpg");
        EXPECT_EQ(imfJpegLosslessTransformEx(photo.c_str(), out.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
        EXPECT_FALSE(FileExists(out)) << "the destination is opened only after the source was read";
        EXPECT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
        EXPECT_EQ(imfJpegLosslessCrop(photo.c_str(), 0, 0, 8, 8, 1), 0);
        EXPECT_EQ(imgJpegLosslessTransform(photo.c_str(), IMG_LOSSLESS_TRANSFORM_ROTATE90), IMG_UNKNOWN_ERROR);
        EXPECT_EQ(ReadFileBytes(photo), *b);
        EXPECT_FALSE(FileExists(dir_.File("photo.jp_")));
    }
    EXPECT_EQ(imfJpegLosslessTransformEx(dir_.File("missing.jpg").c_str(), dir_.File("o.jpg").c_str(), 1, 0), 0);
    EXPECT_EQ(imfJpegLosslessTransformEx(nullptr, dir_.File("o.jpg").c_str(), 1, 0), 0);
}

TEST_F(Replace, DataCutShortIsFinishedWithEmptyBlocksAsJpegtranDoes) {
    // libjpeg warns about the missing end and supplies empty blocks; that is
    // not an error, for jpegtran either.
    const Bytes good = SmallJpeg();
    const Bytes cut(good.begin(), good.begin() + long(good.size() * 2 / 3));
    const std::string src = Put("cut.jpg", cut), out = dir_.File("out.jpg");
    EXPECT_EQ(imfJpegLosslessTransformEx(src.c_str(), out.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE270, 0), 1);
    EXPECT_EQ(ReadFileBytes(src), cut);
    if (HaveProgram("jpegtran")) {
        const std::string want = dir_.File("want.jpg");
        RunJpegtran("-copy all -optimize -rotate 270", src, want);
        EXPECT_EQ(ReadFileBytes(out), ReadFileBytes(want));
    }
}

TEST_F(Replace, CropsOutsideThePictureAreRefusedAndZeroSizesMeanNoCrop) {
    const Bytes original = SmallJpeg();  // 75 x 50
    const std::string src = Put("src.jpg", original), out = dir_.File("out.jpg");
    const long bad[][4] = {{75, 0, 1, 1}, {0, 50, 1, 1}, {70, 0, 6, 10}, {0, 45, 10, 6},
                           {-1, 0, 8, 8}, {0, 0, -1, 8}, {2, 0, 76, 50}, {1, 1, 75, 49}};
    for (const auto &r : bad) {
        EXPECT_EQ(imfJpegLosslessCropEx(src.c_str(), out.c_str(), r[0], r[1], r[2], r[3], 0), 0)
            << r[0] << "," << r[1] << " " << r[2] << "x" << r[3];
        EXPECT_FALSE(FileExists(out));
    }
    // The crop rectangle is measured in the rotated picture (50 x 75).
    EXPECT_EQ(imfJpegLosslessTransform2(src.c_str(), out.c_str(), 0, 60, 50, 15, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 1);
    std::remove(out.c_str());
    EXPECT_EQ(imfJpegLosslessTransform2(src.c_str(), out.c_str(), 0, 60, 75, 15, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 0);
    EXPECT_EQ(ReadFileBytes(src), original);
    // A zero width or height: no crop at all.
    ASSERT_EQ(imfJpegLosslessCropEx(src.c_str(), out.c_str(), 10, 10, 0, 20, 0), 1);
    const JpegInfo info = ReadJpegInfo(ReadFileBytes(out));
    EXPECT_EQ(info.width, 75);
    EXPECT_EQ(info.height, 50);
}

// A few hundred bytes that declare a huge picture, or scans beyond reason:
// refused before the memory or the time is spent, and in a thumbnail left
// alone while the picture turns.
TEST_F(Replace, SizeAndScanBombsAreRefused) {
    const struct {
        const char *what;
        Bytes file;
        TWord result;
    } cases[] = {
        {"16000 x 16000 in 700 bytes", JpegDeclaring(16000), 0},
        {"65500 x 65500 in 700 bytes", JpegDeclaring(65500), 0},
        {"600 scans more", JpegWithScansRepeated(600), 0},
        {"400 scans more", JpegWithScansRepeated(400), 1},
    };
    for (const auto &c : cases) {
        const std::string src = Put("bomb.jpg", c.file), out = dir_.File("out.jpg");
        std::remove(out.c_str());
        EXPECT_EQ(imfJpegLosslessTransformEx(src.c_str(), out.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), c.result)
            << c.what;
        EXPECT_EQ(FileExists(out), c.result == 1) << c.what;
    }
    // As the thumbnail of a 64 x 48 picture turned by its orientation: the
    // bomb, and a thumbnail larger than the picture.
    JpegRecipe larger;
    larger.width = 96;
    larger.height = 72;
    for (const Bytes &thumb : {JpegDeclaring(16000), MakeJpeg(larger)}) {
        ExifRecipe e;
        e.orientation = 6;
        e.thumbnail = thumb;
        JpegRecipe r;
        r.markers = {{0xE1, MakeExifBlock(e)}};
        const std::string photo = Put("photo.jpg", MakeJpeg(r));
        ASSERT_EQ(imfJpegLosslessTransform(photo.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION, 0), 1);
        const Bytes turned = ReadFileBytes(photo);
        EXPECT_EQ(ReadJpegInfo(turned).width, 48);
        EXPECT_NE(std::search(turned.begin(), turned.end(), thumb.begin(), thumb.end()), turned.end())
            << "the thumbnail changed";
    }
}

}  // namespace
