// The coefficient transforms seen in pixels, without jpegtran: decoding the
// transformed file gives the source's decoded pixels rotated or mirrored by
// a plainly written pixel transform (within the decoder's rounding). And the
// EXIF pixel-dimension rewrite on hand-built and damaged blocks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

#include "jpeg/jxform.h"
#include "jpeg/pipeline.h"
#include "support/exif_block.h"
#include "support/jpeg_files.h"

using namespace testing_support;

namespace {

// Where output pixel (x, y) of a w x h output comes from in the source
// (sw x sh), by the transform's definition.
void SourceOf(int t, int x, int y, int sw, int sh, int *sx, int *sy) {
    switch (t) {
    case jx::kFlipH: *sx = sw - 1 - x; *sy = y; break;
    case jx::kFlipV: *sx = x; *sy = sh - 1 - y; break;
    case jx::kTranspose: *sx = y; *sy = x; break;
    case jx::kTransverse: *sx = sw - 1 - y; *sy = sh - 1 - x; break;
    case jx::kRot90: *sx = y; *sy = sh - 1 - x; break;
    case jx::kRot180: *sx = sw - 1 - x; *sy = sh - 1 - y; break;
    case jx::kRot270: *sx = sw - 1 - y; *sy = x; break;
    default: *sx = x; *sy = y; break;
    }
}

TEST(CoefficientTransforms, DecodedPixelsMoveAsThePlainPixelTransformSays) {
    TempDir dir;
    for (Sampling s : {Sampling::kGrey, Sampling::k444}) {
        JpegRecipe recipe;
        recipe.width = 48;  // whole blocks: every block moves
        recipe.height = 32;
        recipe.sampling = s;
        recipe.quality = 95;
        const std::string src = dir.File("src.jpg");
        WriteFileBytes(src, MakeJpeg(recipe));
        int sw, sh, sc;
        const Bytes in = DecodeJpeg(ReadFileBytes(src), &sw, &sh, &sc);
        ASSERT_FALSE(in.empty());
        for (int t = jx::kNone; t <= jx::kRot270; ++t) {
            jpeg_lossless::Request rq;
            rq.module_transform = t;
            const std::string out = dir.File("out.jpg");
            ASSERT_EQ(jpeg_lossless::Run(src.c_str(), out.c_str(), rq), 1);
            int w, h, c;
            const Bytes px = DecodeJpeg(ReadFileBytes(out), &w, &h, &c);
            ASSERT_EQ(w, jx::SwapsAxes(t) ? sh : sw);
            ASSERT_EQ(h, jx::SwapsAxes(t) ? sw : sh);
            ASSERT_EQ(c, sc);
            int worst = 0;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    int sx, sy;
                    SourceOf(t, x, y, sw, sh, &sx, &sy);
                    for (int k = 0; k < c; ++k) {
                        const int a = px[(size_t(y) * size_t(w) + size_t(x)) * size_t(c) + size_t(k)];
                        const int b = in[(size_t(sy) * size_t(sw) + size_t(sx)) * size_t(c) + size_t(k)];
                        worst = std::max(worst, std::abs(a - b));
                    }
                }
            // The integer IDCT rounds between its two passes, so a transposed
            // block may decode one level apart; the colour conversion can
            // turn that into three.
            EXPECT_LE(worst, c == 1 ? 1 : 3) << "transform " << t << " components " << c;
        }
    }
}

Bytes Tiff(const ExifRecipe &recipe) {
    Bytes b = MakeExifBlock(recipe);
    return Bytes(b.begin() + 6, b.end());
}

TEST(ExifDimensions, WidthAndHeightBecome32BitValuesInTheBlocksOrder) {
    for (bool big : {false, true}) {
        ExifRecipe recipe;
        recipe.big_endian = big;
        recipe.orientation = 6;
        recipe.filler_entries = 3;
        recipe.pixel_width = 4000;
        recipe.pixel_height = 3000;
        Bytes t = Tiff(recipe);
        const Bytes before = t;
        jx::SetExifDimensions(t.data(), t.size(), 70000, 17);
        // Sub-directory: after the header (8), IFD0 (2 + 5 * 12 + 4).
        const size_t sub = 8 + 2 + 5 * 12 + 4;
        const Bytes w_le = {0x02, 0xA0, 4, 0, 1, 0, 0, 0, 0x70, 0x11, 0x01, 0x00};
        const Bytes w_be = {0xA0, 0x02, 0, 4, 0, 0, 0, 1, 0x00, 0x01, 0x11, 0x70};
        const Bytes h_le = {0x03, 0xA0, 4, 0, 1, 0, 0, 0, 17, 0, 0, 0};
        const Bytes h_be = {0xA0, 0x03, 0, 4, 0, 0, 0, 1, 0, 0, 0, 17};
        EXPECT_EQ(Bytes(t.begin() + long(sub + 2), t.begin() + long(sub + 14)), big ? w_be : w_le);
        EXPECT_EQ(Bytes(t.begin() + long(sub + 14), t.begin() + long(sub + 26)), big ? h_be : h_le);
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
    Bytes t = Tiff(recipe);
    const size_t sub = 8 + 2 + 1 * 12 + 4;
    t[sub + 2 + 2] = 3;  // 0xA002 as SHORT
    t[sub + 2 + 8] = 0x80;
    t[sub + 2 + 9] = 0x02;
    t[sub + 2 + 10] = 0xEE;  // junk in the unused half
    jx::SetExifDimensions(t.data(), t.size(), 0x12345, 9);
    EXPECT_EQ(t[sub + 2 + 2], 4);
    EXPECT_EQ(t[sub + 2 + 8], 0x45);
    EXPECT_EQ(t[sub + 2 + 9], 0x23);
    EXPECT_EQ(t[sub + 2 + 10], 0x01);
    EXPECT_EQ(t[sub + 2 + 11], 0x00);

    // Every shorter length: nothing at or beyond the length is touched, and
    // nothing is changed unless the whole entry lies inside.
    const Bytes whole = Tiff(recipe);
    for (size_t n = 0; n <= whole.size(); ++n) {
        Bytes copy = whole;
        jx::SetExifDimensions(copy.data(), n, 1, 2);
        for (size_t i = n; i < copy.size(); ++i) ASSERT_EQ(copy[i], whole[i]) << n;
        if (n < sub + 14) {
            ASSERT_EQ(copy, whole) << n;
        }
    }
    // Random blocks must not be read or written out of bounds (ASan).
    std::mt19937 rng(5);
    for (int round = 0; round < 2000; ++round) {
        Bytes r(size_t(rng() % 80));
        for (auto &b : r) b = uint8_t(rng());
        if (r.size() >= 4) {
            r[0] = r[1] = (round & 1) ? 'M' : 'I';
            r[2] = (round & 1) ? 0 : 42;
            r[3] = (round & 1) ? 42 : 0;
        }
        jx::SetExifDimensions(r.data(), r.size(), 3, 4);
    }
}

}  // namespace
