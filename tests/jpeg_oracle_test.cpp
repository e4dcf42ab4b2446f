// Lossless transforms and crops against jpegtran (libjpeg-turbo), byte for
// byte: every transform with and without trimming, crops with and without
// trimming, crops of transformed pictures, on generated files of many sizes
// (whole and partial iMCUs), every sampling, restart markers, progressive
// sources and extra markers. Skipped when jpegtran is not installed.
#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "jpeg/jxform.h"
#include "jpeg/pipeline.h"
#include "libformat.h"
#include "support/jpeg_files.h"

using namespace testing_support;

namespace {

struct Config {
    std::string name;
    JpegRecipe recipe;
};

// Test names and failure messages show the configuration's name (GoogleTest
// would otherwise dump the record's bytes, padding included).
void PrintTo(const Config &c, std::ostream *os) { *os << c.name; }

Bytes Payload(size_t n, uint8_t seed) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = uint8_t(seed + i * 7);
    return b;
}

std::vector<Config> Configs() {
    std::vector<Config> out;
    const struct {
        int w, h;
    } sizes[] = {{64, 48}, {67, 45}, {130, 97}, {17, 9}, {8, 8}, {200, 23}, {33, 150}};
    const struct {
        Sampling s;
        const char *name;
    } samplings[] = {{Sampling::k444, "444"}, {Sampling::k422, "422"}, {Sampling::k420, "420"},
                     {Sampling::kGrey, "grey"}};
    unsigned seed = 1;
    for (const auto &s : samplings)
        for (const auto &z : sizes) {
            JpegRecipe recipe;
            recipe.width = z.w;
            recipe.height = z.h;
            recipe.sampling = s.s;
            recipe.seed = seed++;
            out.push_back({std::string(s.name) + "_" + std::to_string(z.w) + "x" + std::to_string(z.h), recipe});
        }
    JpegRecipe r;
    r.width = 130;
    r.height = 97;
    r.restart_rows = 1;
    out.push_back({"420_restarts", r});
    JpegRecipe p;
    p.width = 67;
    p.height = 45;
    p.sampling = Sampling::k422;
    p.progressive = true;
    out.push_back({"422_progressive", p});
    // Tall and wide chroma blocks: iMCUs of 8 x 16 and 32 x 8 pixels.
    for (const auto &t : {std::make_pair(Sampling::k440, "440_67x45"), std::make_pair(Sampling::k411, "411_130x97")}) {
        JpegRecipe q;
        q.sampling = t.first;
        q.width = t.first == Sampling::k440 ? 67 : 130;
        q.height = t.first == Sampling::k440 ? 45 : 97;
        q.seed = seed++;
        out.push_back({t.second, q});
    }
    JpegRecipe m;
    m.width = 71;
    m.height = 53;
    m.markers = {{0xFE, Payload(40, 3)},  {0xE2, Payload(300, 9)}, {0xED, Payload(1000, 1)},
                 {0xFE, Payload(1, 0)},   {0xEF, Payload(65533, 5)}};
    out.push_back({"420_markers", m});
    JpegRecipe n = m;
    n.jfif = false;
    n.sampling = Sampling::k444;
    n.markers.insert(n.markers.begin(), {0xE0, Bytes{'J', 'F', 'X', 'X', 0, 1, 2}});
    out.push_back({"444_no_jfif_other_app0", n});
    JpegRecipe k;
    k.width = 37;
    k.height = 29;
    k.sampling = Sampling::kCmyk;
    out.push_back({"cmyk_adobe", k});
    return out;
}

const char *const kJpegtranTransform[8] = {"",           "-flip horizontal", "-flip vertical", "-transpose",
                                           "-transverse", "-rotate 90",       "-rotate 180",    "-rotate 270"};
// The public code of each module transform (-1: none has one).
const int kCode[8] = {IMF_LOSSLESS_TRANSFORM_NONE,     IMF_LOSSLESS_TRANSFORM_HORIZONTAL_FLIP,
                      IMF_LOSSLESS_TRANSFORM_VERTICAL_FLIP, -1, -1, IMF_LOSSLESS_TRANSFORM_ROTATE90,
                      IMF_LOSSLESS_TRANSFORM_ROTATE180, IMF_LOSSLESS_TRANSFORM_ROTATE270};

class Oracle : public testing::TestWithParam<Config> {
  protected:
    void SetUp() override {
        if (!HaveProgram("jpegtran")) GTEST_SKIP() << "jpegtran not installed";
        src_ = dir_.File("src.jpg");
        WriteFileBytes(src_, MakeJpeg(GetParam().recipe));
        ASSERT_TRUE(ReadJpegInfo(ReadFileBytes(src_)).ok);
    }
    // Our file and jpegtran's for the same request; true when identical.
    bool Same(const std::string &options, bool ours_ok) {
        const std::string theirs = dir_.File("theirs.jpg"), ours = dir_.File("ours.jpg");
        const bool jt = RunJpegtran("-copy all -optimize " + options, src_, theirs);
        EXPECT_EQ(ours_ok, jt) << options;
        if (!jt || !ours_ok) return ours_ok == jt;
        const bool same = ReadFileBytes(ours) == ReadFileBytes(theirs);
        EXPECT_TRUE(same) << GetParam().name << ": " << options;
        return same;
    }
    TempDir dir_;
    std::string src_;
};

TEST_P(Oracle, EveryTransformWithAndWithoutTrimIsJpegtransFile) {
    int same = 0, total = 0;
    for (int t = 0; t < 8; ++t)
        for (int trim = 0; trim < 2; ++trim) {
            const std::string ours = dir_.File("ours.jpg");
            std::remove(ours.c_str());
            TWord ok;
            if (kCode[t] >= 0) {
                ok = imfJpegLosslessTransformEx(src_.c_str(), ours.c_str(), TUword(kCode[t]),
                                                trim ? IMF_LOSSLESS_TRIM : 0);
            } else {
                imge::jpeg::Request rq;
                rq.module_transform = t;
                rq.flags = trim ? IMF_LOSSLESS_TRIM : 0;
                ok = imge::jpeg::Run(src_.c_str(), ours.c_str(), rq);
            }
            ASSERT_EQ(ok, 1) << kJpegtranTransform[t];
            same += Same(std::string(trim ? "-trim " : "") + kJpegtranTransform[t], true);
            ++total;
        }
    std::printf("[ oracle   ] %-24s transforms %2d/%2d identical\n", GetParam().name.c_str(), same, total);
}

TEST_P(Oracle, CropsAndCropsOfTransformedPicturesAreJpegtransFiles) {
    const JpegRecipe &s = GetParam().recipe;
    struct Rect {
        long x, y, w, h;
    };
    auto rects = [](long W, long H) {
        return std::vector<Rect>{{0, 0, W, H},
                                 {3 % W, 5 % H, (W + 1) / 2, (H + 1) / 2},
                                 {W / 3, H / 4, W - W / 3, H - H / 4},
                                 {W - 1, H - 1, 1, 1},
                                 {W / 2, 0, W - W / 2, 1},
                                 // larger than the picture: extended without a transform
                                 {16, 8, W + 40, H + 17},
                                 {0, H / 3, W + 1, H - H / 3},
                                 {9, 0, W + 8, H}};
    };
    int same = 0, total = 0;
    for (const Rect &r : rects(s.width, s.height))
        for (int trim = 0; trim < 2; ++trim) {
            const std::string ours = dir_.File("ours.jpg");
            const TWord ok = imfJpegLosslessCropEx(src_.c_str(), ours.c_str(), r.x, r.y, r.w, r.h, TUword(trim));
            char crop[96];
            std::snprintf(crop, sizeof crop, "%s-crop %ldx%ld+%ld+%ld", trim ? "-trim " : "", r.w, r.h, r.x, r.y);
            same += Same(crop, ok == 1);
            ++total;
        }
    // The rectangle is measured in the transformed picture.
    for (int t : {imge::jpeg::kRot90, imge::jpeg::kFlipH, imge::jpeg::kRot180, imge::jpeg::kRot270, imge::jpeg::kFlipV})
        for (const Rect &r : rects(imge::jpeg::SwapsAxes(t) ? s.height : s.width, imge::jpeg::SwapsAxes(t) ? s.width : s.height)) {
            const std::string ours = dir_.File("ours.jpg");
            const TWord ok = imfJpegLosslessTransform2(src_.c_str(), ours.c_str(), r.x, r.y, r.w, r.h,
                                                       TUword(kCode[t]), IMF_LOSSLESS_TRIM);
            char opts[128];
            std::snprintf(opts, sizeof opts, "-trim %s -crop %ldx%ld+%ld+%ld", kJpegtranTransform[t], r.w, r.h,
                          r.x, r.y);
            same += Same(opts, ok == 1);
            ++total;
        }
    std::printf("[ oracle   ] %-24s crops      %2d/%2d identical\n", GetParam().name.c_str(), same, total);
}

INSTANTIATE_TEST_SUITE_P(Files, Oracle, testing::ValuesIn(Configs()),
                         [](const testing::TestParamInfo<Config> &i) { return i.param.name; });

}  // namespace
