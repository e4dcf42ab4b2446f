// Minimum, maximum, box and cross medians and the Gaussian blur as whole
// operations: tall bitmaps over many blocks of rows, the stated examples, bad
// input, OpenCV as a second opinion where its semantics coincide (random
// bitmaps of every type, size, area and mode run in fuzz_replay_test.cpp).
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <hwy/tests/hwy_gtest.h>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "reference/rank_reference.h"
#include "fuzz_support.h"
#include "support/bitmaps.h"

#ifdef IMGE_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

using testing_support::Clone;
using testing_support::Diff;
using testing_support::OwnedImf;
using testing_support::TypeName;

using testing_support::Clone;
using testing_support::Diff;
using testing_support::OwnedImf;
using testing_support::TypeName;

namespace {

using RankFn = IMF_ERROR (*)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *, TLong);

// Grey pictures as rows of '#' (255) and '.' (0), filtered with side 3.
struct RankCase {
    const char *name;
    RankFn fn;
    std::vector<std::string> in, out;
};

TEST(RankFilters, StatedExamples) {
    const std::vector<std::string> spot = {".......", ".......", ".......", "...#...", ".......", ".......", "......."};
    const std::vector<std::string> none(7, "......."), line(7, "...#..."), column(5, "#....");
    const RankCase cases[] = {
        {"box median removes a spot", imfMedianBox, spot, none},
        {"cross median removes a spot", imfMedianCross, spot, none},
        {"minimum removes a spot", imfMinimum, spot, none},
        {"maximum grows a spot", imfMaximum, spot,
         {".......", ".......", "..###..", "..###..", "..###..", ".......", "......."}},
        {"cross median keeps a thin line", imfMedianCross, line, line},
        {"box median removes a thin line", imfMedianBox, line, none},
        {"box median keeps a bright first column", imfMedianBox, column, column},
    };
    for (const RankCase &c : cases) {
        OwnedImf b;
        const int w = static_cast<int>(c.in[0].size()), h = static_cast<int>(c.in.size());
        ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, w, h), 0);
        for (int i = 0; i < w * h; ++i) b->Data[i / w * b->BytesPerLine + i % w] = c.in[i / w][i % w] == '#' ? 255 : 0;
        ASSERT_EQ(c.fn(b.get(), nullptr, nullptr, 3), IMF_NOERROR) << c.name;
        for (int i = 0; i < w * h; ++i)
            EXPECT_EQ(b->Data[i / w * b->BytesPerLine + i % w], c.out[i / w][i % w] == '#' ? 255 : 0) << c.name << " " << i;
    }
    // Box median of size 2 over 10, 20, 30, 40: the upper middle, 30.
    {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 2, 2), 0);
        const TUbyte v[4] = {10, 20, 30, 40};
        std::memcpy(b->Data, v, 2);
        std::memcpy(b->Data + b->BytesPerLine, v + 2, 2);
        ASSERT_EQ(imfMedianBox(b.get(), nullptr, nullptr, 2), IMF_NOERROR);
        EXPECT_EQ(b->Data[b->BytesPerLine + 1], 30);  // its window holds all four
    }
    // Components are ranked on their own: red from one pixel, blue from another.
    {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), IMF_RGB, 1, 3, 1), 0);
        const TUbyte px[9] = {255, 0, 0, 0, 0, 255, 0, 0, 255};
        std::memcpy(b->Data, px, 9);
        ASSERT_EQ(imfMaximum(b.get(), nullptr, nullptr, 3), IMF_NOERROR);
        EXPECT_EQ(b->Data[3], 255);
        EXPECT_EQ(b->Data[4], 0);
        EXPECT_EQ(b->Data[5], 255);
    }
}

TEST(RankFilters, PaletteKeptAndIndicesFiltered) {
    std::mt19937 rng(5);
    OwnedImf src, dst;
    testing_support::MakeRandom(rng, IMF_COLORS, 9, 9, 1, &src);
    ASSERT_EQ(imfMedianBox(src.get(), dst.get(), nullptr, 3), IMF_NOERROR);
    ASSERT_NE(dst->ColorMap, nullptr);
    EXPECT_EQ(std::memcmp(dst->ColorMap, src->ColorMap, sizeof(IMF_COLORMAP)), 0);
}

// ---- Gaussian blur -------------------------------------------------------------

TEST(GaussianBlur, SpotExampleOfSizeThree) {
    for (bool literal : {false, true}) {
        OwnedImf b;
        ASSERT_NE(imfAllock(b.get(), IMF_GREY, 1, 5, 5), 0);
        b->Data[2 * 5 + 2] = 255;
        OwnedImf out;
        if (literal)
            ASSERT_EQ(reference::BlurGaussianOp(b.b, nullptr, 3, out.get()), IMF_NOERROR);
        else
            ASSERT_EQ(imfBlurGaussian(b.get(), out.get(), nullptr, 3), IMF_NOERROR);
        const TUbyte want[25] = {0, 0,  0,  0,  0,   //
                                 0, 17, 31, 17, 0,   //
                                 0, 31, 58, 31, 0,   //
                                 0, 17, 31, 17, 0,   //
                                 0, 0,  0,  0,  0};
        for (int i = 0; i < 25; ++i) EXPECT_EQ(out->Data[i / 5 * out->BytesPerLine + i % 5], want[i]) << i;
    }
}

TEST(GaussianBlur, KernelMatchesTheStatedValues) {
    struct Row { int n; double axis, diagonal, sum; };
    const Row rows[] = {{3, 0.540265, 0.291886, 4.328603}, {5, 0.801195, 0.641914, 11.740885},
                        {7, 0.893073, 0.797579, 22.859891}};
    for (const Row &r : rows) {
        double k[625];
        const double sum = reference::GaussianKernel(r.n, k);
        const int c = (r.n >> 1) * r.n + (r.n >> 1);
        EXPECT_DOUBLE_EQ(k[c], 1.0);
        EXPECT_NEAR(k[c + 1], r.axis, 5e-7);
        EXPECT_NEAR(k[c + r.n + 1], r.diagonal, 5e-7);
        EXPECT_NEAR(sum, r.sum, 5e-6);
    }
}

TEST(GaussianBlur, FlatAreasAreNeverLifted) {
    for (int n = 2; n <= 25; ++n)
        for (int v : {0, 1, 37, 128, 254, 255}) {
            OwnedImf b;
            ASSERT_NE(imfAllock(b.get(), IMF_RGBA, 1, 40, 3), 0);
            std::memset(b->Data, v, static_cast<std::size_t>(b->BytesPerLine) * b->Height);
            ASSERT_EQ(imfBlurGaussian(b.get(), nullptr, nullptr, n), IMF_NOERROR);
            for (int i = 0; i < 40 * 4 * 3; ++i) {
                ASSERT_LE(b->Data[i], v) << n;
                ASSERT_GE(b->Data[i] + 1, v) << n;
            }
        }
}

// The vector targets fuse each multiply with its addition, so a byte whose
// sum sits right at an integer may come out one lower or higher than the
// plain loop's (or the two-dimensional formula's); only a few do. On every
// target: several bands of a wide row (the widest kernel's bands go partly
// through the transposed pass, partly not), odd and even sizes, grey and
// four-byte pixels too.
class GaussTargets : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(GaussTargets);

TEST_P(GaussTargets, StayWithinOneOfThePlainAndLiteralBytes) {
    std::mt19937 rng(9);
    struct Row { unsigned type; int width; std::vector<int> sizes; } rows[] = {
        {IMF_RGB, 1500, {2, 3, 7, 8, 24, 25}}, {IMF_GREY, 4400, {7, 25}}, {IMF_RGBA, 300, {25}}};
    for (const Row &r : rows) {
        OwnedImf src;
        testing_support::MakeRandom(rng, r.type, r.width, 5, 4, &src);
        const int bytes = r.width * src->BytesPerPixel;
        for (int n : r.sizes) {
            OwnedImf fast, plain, literal;
            ASSERT_EQ(imfBlurGaussian(src.get(), fast.get(), nullptr, n), IMF_NOERROR);
            {
                const fuzz::PlainPath only_plain;
                ASSERT_EQ(imfBlurGaussian(src.get(), plain.get(), nullptr, n), IMF_NOERROR);
            }
            ASSERT_EQ(reference::BlurGaussianOp(src.b, nullptr, n, literal.get()), IMF_NOERROR);
            for (OwnedImf *other : {&plain, &literal}) {
                int differ = 0;
                for (int y = 0; y < 5; ++y)
                    for (int i = 0; i < bytes; ++i) {
                        const int a = fast->Data[y * fast->BytesPerLine + i];
                        const int b = (*other)->Data[y * (*other)->BytesPerLine + i];
                        ASSERT_LE(std::abs(a - b), 1) << n << " at " << y << "," << i;
                        differ += a != b;
                    }
                EXPECT_LE(differ, bytes * 5 / 200) << n;  // at most one byte in 200
            }
        }
    }
}

TEST(GaussianBlur, InPlaceOnGreyKeepsTheRecord) {
    std::mt19937 rng(3);
    OwnedImf b;
    testing_support::MakeRandom(rng, IMF_GREY, 64, 64, 4, &b);
    b->ColorUsed = 200;
    b->TransparentIndex = 7;
    const TUbyte *old = b->Data;
    ASSERT_EQ(imfBlurGaussian(b.get(), nullptr, nullptr, 7), IMF_NOERROR);
    EXPECT_EQ(b->Type, IMF_GREY);
    EXPECT_EQ(b->Width, 64);
    EXPECT_EQ(b->Height, 64);
    EXPECT_EQ(b->ColorUsed, 200);
    EXPECT_EQ(b->TransparentIndex, -1);
    EXPECT_NE(b->Data, old);
}

// ---- OpenCV as a second opinion -------------------------------------------------

#ifdef IMGE_HAVE_OPENCV
// OpenCV anchors an even square at N / 2 as well: one more column and row
// before the centre than after it, as here (its median takes odd sides only).
TEST(RankOpenCV, ErodeDilateAndMedianBlurAgree) {
    std::mt19937 rng(31);
    for (unsigned type : {unsigned(IMF_GREY), unsigned(IMF_RGB), unsigned(IMF_BGRA)})
        for (int n = 2; n <= 15; ++n) {
            OwnedImf src;
            testing_support::MakeRandom(rng, type, 61, 23, 4, &src);
            const int cvtype = CV_8UC(src->BytesPerPixel);
            cv::Mat m(src->Height, src->Width, cvtype, src->Data, static_cast<std::size_t>(src->BytesPerLine));
            const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(n, n));
            cv::Mat eroded, dilated, median;
            cv::erode(m, eroded, kernel, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
            cv::dilate(m, dilated, kernel, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
            if (n % 2) cv::medianBlur(m, median, n);
            struct { RankFn fn; const cv::Mat *peer; const char *name; } checks[] = {
                {imfMinimum, &eroded, "erode"}, {imfMaximum, &dilated, "dilate"}, {imfMedianBox, &median, "medianBlur"}};
            for (const auto &c : checks) {
                if (c.peer->empty()) continue;
                OwnedImf dst;
                ASSERT_EQ(c.fn(src.get(), dst.get(), nullptr, n), IMF_NOERROR);
                for (int y = 0; y < src->Height; ++y)
                    ASSERT_EQ(std::memcmp(dst->Data + y * dst->BytesPerLine, c.peer->ptr(y),
                                          static_cast<std::size_t>(src->Width) * src->BytesPerPixel), 0)
                        << c.name << " n " << n << " " << TypeName(type) << " row " << y;
            }
        }
}
#endif

}  // namespace
