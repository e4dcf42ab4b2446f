// The EXIF orientation and thumbnail steps. Each expected file is built
// independently: jpegtran's transform of the source (which also rewrites the
// EXIF pixel dimensions), with the orientation bytes set to 1 and the
// thumbnail replaced by jpegtran's transform of the extracted thumbnail.
// exiftool, where installed, reads the results as a second opinion.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "jpeg/jxform.h"
#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "support/exif_block.h"
#include "support/jpeg_files.h"

using namespace testing_support;

namespace {

const char *const kJpegtran[8] = {"",           "-flip horizontal", "-flip vertical", "-transpose",
                                  "-transverse", "-rotate 90",       "-rotate 180",    "-rotate 270"};

struct Photo {
    Bytes file, thumb;
    ExifLayout at;
    bool big = false;
};

// A 91 x 67 4:2:0 photo whose first marker is EXIF (no JFIF header, as
// cameras write them) with a 44 x 30 thumbnail.
Photo MakePhoto(int orientation, bool big, int thumb_orientation = 6, bool tight_thumb = false,
                bool jfif_first = false) {
    Photo p;
    p.big = big;
    JpegRecipe t;
    t.width = tight_thumb ? 48 : 44;
    t.height = tight_thumb ? 32 : 30;
    t.seed = 7;
    t.optimize = tight_thumb;
    t.jfif = false;
    p.thumb = MakeJpeg(t);
    ExifRecipe e;
    e.big_endian = big;
    e.orientation = orientation;
    e.thumbnail = p.thumb;
    e.thumb_orientation = thumb_orientation;
    e.thumb_width = 44;
    e.thumb_height = 30;
    e.pixel_width = 91;
    e.pixel_height = 67;
    e.filler_entries = 2;
    JpegRecipe s;
    s.width = 91;
    s.height = 67;
    s.jfif = jfif_first;
    s.markers = {{0xE1, MakeExifBlock(e, &p.at)}, {0xFE, Bytes{'h', 'i'}}};
    p.file = MakeJpeg(s);
    return p;
}

void Put16(Bytes &b, size_t at, bool big, int v) {
    b[at] = uint8_t(big ? v >> 8 : v);
    b[at + 1] = uint8_t(big ? v : v >> 8);
}

class ExifSteps : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        if (!HaveProgram("jpegtran")) GTEST_SKIP() << "jpegtran not installed";
    }
    std::string Write(const std::string &name, const Bytes &b) {
        const std::string path = dir_.File(name);
        WriteFileBytes(path, b);
        return path;
    }
    Bytes Jpegtran(const std::string &opts, const Bytes &in) {
        const std::string a = Write("jt-in.jpg", in), b = dir_.File("jt-out.jpg");
        EXPECT_TRUE(RunJpegtran("-copy all -optimize " + opts, a, b)) << opts;
        return ReadFileBytes(b);
    }
    // jpegtran's file for `transform`, with the orientation set to 1 (when
    // `reset`) and the thumbnail transformed by `thumb` (when it does not grow).
    Bytes Expected(const Photo &p, int transform, bool trim, bool reset, int thumb) {
        Bytes out = Jpegtran(std::string(trim ? "-trim " : "") + kJpegtran[transform], p.file);
        size_t app1 = 0;
        for (const Segment &s : Segments(out))
            if (s.marker == 0xE1 && app1 == 0) app1 = s.offset;
        EXPECT_NE(app1, 0u);
        if (reset) Put16(out, app1 + p.at.orientation_value, p.big, 1);
        if (thumb != imge::jpeg::kNone) {
            const Bytes t = Jpegtran(std::string("-trim ") + kJpegtran[thumb], p.thumb);
            if (t.size() <= p.thumb.size()) {
                std::copy(t.begin(), t.end(), out.begin() + long(app1 + p.at.thumb_offset));
                if (p.at.thumb_orientation_value) Put16(out, app1 + p.at.thumb_orientation_value, p.big, 1);
            }
        }
        return out;
    }
    TempDir dir_;
};

TEST_P(ExifSteps, OrientationCodeTurnsEveryOrientationUprightWithItsThumbnail) {
    const int transform_for[9] = {imge::jpeg::kNone,  imge::jpeg::kNone,       imge::jpeg::kFlipH, imge::jpeg::kRot180, imge::jpeg::kFlipV,
                                  imge::jpeg::kTranspose, imge::jpeg::kRot90, imge::jpeg::kTransverse, imge::jpeg::kRot270};
    for (int o = 1; o <= 8; ++o)
        for (int trim = 0; trim < 2; ++trim) {
            const Photo p = MakePhoto(o, GetParam());
            const std::string src = Write("src.jpg", p.file), dst = dir_.File("dst.jpg");
            ASSERT_EQ(imfJpegLosslessTransformEx(src.c_str(), dst.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION,
                                                 trim ? IMF_LOSSLESS_TRIM : 0),
                      1);
            const int t = transform_for[o];
            EXPECT_EQ(ReadFileBytes(dst), Expected(p, t, trim != 0, true, t)) << "orientation " << o;
            EXPECT_EQ(ReadFileBytes(src), p.file);
        }
}

TEST_P(ExifSteps, RotationRelativeToTheOrientation) {
    struct Case {
        int orientation;
        TUword code;
        TUlong flags;
        int transform;  // expected module transform
        bool reset;
    } cases[] = {
        {8, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0x6, imge::jpeg::kNone, true},     // (3 + 1) % 4 = 0
        {2, IMF_LOSSLESS_TRANSFORM_ROTATE180, 0x6, imge::jpeg::kRot180, true},  // a mirror counts no turn
        {6, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0x6, imge::jpeg::kRot180, true},
        {3, IMF_LOSSLESS_TRANSFORM_ROTATE270, 0x7, imge::jpeg::kRot90, true},
        {6, IMF_LOSSLESS_TRANSFORM_VERTICAL_FLIP, 0x6, imge::jpeg::kFlipV, true},  // flips stay as asked
        {6, IMF_LOSSLESS_TRANSFORM_VERTICAL_FLIP, 0x4, imge::jpeg::kFlipV, true},
        {6, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0x4, imge::jpeg::kRot90, true},     // not relative without 0x2
        {6, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0x2, imge::jpeg::kRot90, false},    // 0x2 alone: EXIF not read
        {6, IMF_LOSSLESS_TRANSFORM_ROTATE90, 0x0, imge::jpeg::kRot90, false},
        {5, IMF_LOSSLESS_TRANSFORM_NONE, 0x6, imge::jpeg::kNone, true},
        {7, 9, 0x4, imge::jpeg::kNone, true},                                     // unknown code: no transform
    };
    for (const Case &c : cases) {
        const Photo p = MakePhoto(c.orientation, GetParam());
        const std::string src = Write("src.jpg", p.file), dst = dir_.File("dst.jpg");
        ASSERT_EQ(imfJpegLosslessTransformEx(src.c_str(), dst.c_str(), c.code, c.flags), 1);
        EXPECT_EQ(ReadFileBytes(dst), Expected(p, c.transform, (c.flags & 1) != 0, c.reset, c.transform))
            << "orientation " << c.orientation << " code " << c.code << " flags " << c.flags;
    }
}

TEST_P(ExifSteps, ThumbnailThatGrowsStaysWithItsOrientation) {
    // An optimised thumbnail without a JFIF header, mirrored: the same
    // coefficients come back with the compressor's JFIF header, larger.
    const Photo p = MakePhoto(2, GetParam(), 6, true);
    const Bytes t = Jpegtran("-trim -flip horizontal", p.thumb);
    ASSERT_GT(t.size(), p.thumb.size()) << "the thumbnail was meant to grow";
    const std::string src = Write("src.jpg", p.file), dst = dir_.File("dst.jpg");
    ASSERT_EQ(imfJpegLosslessTransformEx(src.c_str(), dst.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION, 0), 1);
    const Bytes out = ReadFileBytes(dst);
    EXPECT_EQ(out, Expected(p, imge::jpeg::kFlipH, false, true, imge::jpeg::kFlipH));
    Segment app1 = Segments(out)[0];
    ASSERT_EQ(app1.marker, 0xE1);
    EXPECT_TRUE(std::equal(p.thumb.begin(), p.thumb.end(), app1.data.begin() + long(p.at.thumb_offset)));
    EXPECT_EQ(app1.data[p.at.thumb_orientation_value + (GetParam() ? 1 : 0)], 6);
}

TEST_P(ExifSteps, CropAloneKeepsTheThumbnailAndUpdatesThePixelDimensions) {
    const Photo p = MakePhoto(6, GetParam());
    const std::string src = Write("src.jpg", p.file), dst = dir_.File("dst.jpg");
    ASSERT_EQ(imfJpegLosslessCropEx(src.c_str(), dst.c_str(), 20, 10, 40, 30, 0), 1);
    const Bytes out = ReadFileBytes(dst);
    EXPECT_EQ(out, Jpegtran("-crop 40x30+20+10", p.file));
    const JpegInfo info = ReadJpegInfo(out);
    EXPECT_EQ(info.width, 44);   // the corner moved left to x = 16
    EXPECT_EQ(info.height, 40);  // and up to y = 0
}

TEST_P(ExifSteps, PublicCallTurnsInPlaceRelativeToTheOrientation) {
    const Photo p = MakePhoto(6, GetParam());
    const std::string src = Write("photo.jpg", p.file);
    EXPECT_EQ(imgJpegLosslessTransform(src.c_str(), IMG_LOSSLESS_TRANSFORM_ROTATE90), IMG_NO_ERROR);
    EXPECT_EQ(ReadFileBytes(src), Expected(p, imge::jpeg::kRot180, true, true, imge::jpeg::kRot180));
    EXPECT_FALSE(FileExists(dir_.File("photo.jp_")));
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, ExifSteps, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool> &i) { return i.param ? "big" : "little"; });

TEST(ExifMarkers, EveryExifApp1GetsItsDimensionsNotOnlyTheFirstMarker) {
    // A JFIF APP0 first, EXIF second: the EXIF block still gets the new size,
    // and the source's JFIF segment is copied since no header is generated.
    TempDir dir;
    const Photo p = MakePhoto(1, false, 0, false, true);
    const std::string src = dir.File("src.jpg"), dst = dir.File("dst.jpg");
    WriteFileBytes(src, p.file);
    ASSERT_EQ(imfJpegLosslessTransformEx(src.c_str(), dst.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90, 0), 1);
    const std::vector<Segment> segs = Segments(ReadFileBytes(dst));
    ASSERT_GE(segs.size(), 2u);
    EXPECT_EQ(segs[0].marker, 0xE0);
    EXPECT_EQ(segs[1].marker, 0xE1);
    const Bytes &app1 = segs[1].data;
    // The EXIF sub-directory follows IFD0 (2 fillers + orientation + link).
    const size_t sub = 6 + 8 + 2 + 12 * 4 + 4;
    auto u32 = [&](size_t at) { return app1[at] | app1[at + 1] << 8 | app1[at + 2] << 16 | app1[at + 3] << 24; };
    EXPECT_EQ(u32(sub + 2 + 8), 67);  // 0xA002: width
    EXPECT_EQ(u32(sub + 14 + 8), 91); // 0xA003: height
    if (HaveProgram("exiftool")) {
        const std::string r = RunOutput("exiftool -s3 -n -ExifImageWidth -ExifImageHeight '" + dst + "'");
        EXPECT_EQ(r, "67\n91\n");
    }
}

// The luma's sampling against the chroma's, as the three-digit name.
TEST(JpegSubsampling, EachLayoutByItsName) {
    struct Row { Sampling sampling; IMG_INT32 want; } rows[] = {
        {Sampling::k444, 444}, {Sampling::k422, 422}, {Sampling::k420, 420},
        {Sampling::k440, 440}, {Sampling::k411, 411}, {Sampling::kGrey, 0}};
    TempDir dir;
    for (const Row &r : rows) {
        JpegRecipe recipe;
        recipe.width = 40;
        recipe.height = 24;
        recipe.sampling = r.sampling;
        const std::string path = dir.File("s.jpg");
        WriteFileBytes(path, MakeJpeg(recipe));
        IMG_INT32 got = -1;
        ASSERT_EQ(imgGetJpegSubsampling(path.c_str(), &got), IMG_NO_ERROR);
        EXPECT_EQ(got, r.want) << static_cast<int>(r.sampling);
    }
}

TEST(ExifMarkers, ExiftoolReadsTheUprightFileAndItsThumbnail) {
    if (!HaveProgram("exiftool") || !HaveProgram("jpegtran")) GTEST_SKIP() << "exiftool or jpegtran missing";
    TempDir dir;
    for (bool big : {false, true}) {
        const Photo p = MakePhoto(8, big);
        const std::string src = dir.File("src.jpg"), dst = dir.File("dst.jpg"), thumb = dir.File("thumb.jpg");
        WriteFileBytes(src, p.file);
        ASSERT_EQ(imfJpegLosslessTransformEx(src.c_str(), dst.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION, 1),
                  1);
        EXPECT_EQ(RunOutput("exiftool -s3 -n -Orientation -ExifImageWidth -ExifImageHeight '" + dst + "'"),
                  "1\n67\n80\n");  // 91 rotated to the bottom edge, trimmed to whole 16-pixel iMCUs
        std::system(("exiftool -b -ThumbnailImage '" + dst + "' > '" + thumb + "'").c_str());
        const Bytes stored = ReadFileBytes(thumb);
        const std::string tin = dir.File("t-in.jpg"), tout = dir.File("t-out.jpg");
        WriteFileBytes(tin, p.thumb);
        ASSERT_TRUE(RunJpegtran("-copy all -optimize -trim -rotate 270", tin, tout));
        const Bytes want = ReadFileBytes(tout);
        ASSERT_GE(stored.size(), want.size());
        EXPECT_TRUE(std::equal(want.begin(), want.end(), stored.begin()));
        const JpegInfo ti = ReadJpegInfo(want);
        EXPECT_EQ(ti.width, 30);
        EXPECT_EQ(ti.height, 32);  // 44 rotated, trimmed to whole iMCUs
    }
}

}  // namespace
