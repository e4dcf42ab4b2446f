// Channel operations, shadow/highlight, colour counting, HLS, sepia and
// noise: stated values, the plain references on random bitmaps, refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include <hwy/targets.h>
#include <hwy/tests/hwy_gtest.h>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "noise/draws.h"
#include "reference/colour_reference.h"
#include "support/bitmaps.h"

using namespace testing_support;

namespace {


// A one-row bitmap holding the given pixels.
void Row(unsigned type, std::vector<TUbyte> bytes, OwnedImf *out) {
    const int bpp = type == IMF_RGB || type == IMF_BGR ? 3 : type & IMF_TRUECOLORS ? 4 : 1;
    ASSERT_TRUE(imfAllock(out->get(), static_cast<TLong>(type), 1, static_cast<TLong>(bytes.size() / bpp), 1));
    std::memcpy(out->b.Data, bytes.data(), bytes.size());
}

std::vector<TUbyte> Bytes(const IMF_BITMAP &b, int n) { return std::vector<TUbyte>(b.Data, b.Data + n); }

TEST(ChannelOps, StatedValues) {
    OwnedImf b, d;
    Row(IMF_RGB, {200, 100, 50, 7, 7, 7}, &b);
    ASSERT_EQ(imfDesaturate(b.get(), d.get(), nullptr), IMF_NOERROR);
    EXPECT_EQ(Bytes(d.b, 6), (std::vector<TUbyte>{125, 125, 125, 7, 7, 7}));

    OwnedImf rgb, bgr;
    Row(IMF_RGB, {10, 20, 30}, &rgb);
    Row(IMF_BGR, {10, 20, 30}, &bgr);
    ASSERT_EQ(imfSwapColors(rgb.get(), nullptr, nullptr, IMF_SwapColors_RBG), IMF_NOERROR);
    ASSERT_EQ(imfSwapColors(bgr.get(), nullptr, nullptr, IMF_SwapColors_RBG), IMF_NOERROR);
    EXPECT_EQ(Bytes(rgb.b, 3), (std::vector<TUbyte>{10, 30, 20}));
    EXPECT_EQ(Bytes(bgr.b, 3), (std::vector<TUbyte>{20, 10, 30}));  // green and blue exchanged

    // Mode 1 twice and mode 2 then 4 restore the bitmap.
    std::mt19937 rng(5);
    OwnedImf r, orig;
    MakeRandom(rng, IMF_RGBA, 13, 5, 4, &r);
    Clone(r.b, &orig);
    for (TUlong m : {1u, 1u, 2u, 4u}) ASSERT_EQ(imfSwapColors(r.get(), nullptr, nullptr, m), IMF_NOERROR);
    EXPECT_EQ(Diff(r.b, orig.b), "");

    // Grey: unchanged pixels, but a new bitmap with TransparentIndex -1.
    OwnedImf g, gd;
    Row(IMF_GREY, {1, 2, 3}, &g);
    g->TransparentIndex = 2;
    ASSERT_EQ(imfSwapColors(g.get(), gd.get(), nullptr, 1), IMF_NOERROR);
    EXPECT_EQ(Bytes(gd.b, 3), (std::vector<TUbyte>{1, 2, 3}));
    EXPECT_EQ(gd->TransparentIndex, -1);
    EXPECT_NE(gd->Data, g->Data);
}

// Rows wide enough for whole vectors take the shuffled path: every width up
// to a few 64-byte vectors, areas cut anywhere, against the plain swap, on
// every target this machine runs.
class SwapTargets : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(SwapTargets);

TEST_P(SwapTargets, MatchesThePlainLoopAtEveryWidthAndMode) {
    std::mt19937 rng(31);
    for (unsigned type : {IMF_RGB, IMF_BGR, IMF_RGBA})
        for (unsigned mode = 0; mode < 5; ++mode)
            for (int w = 1; w <= 160; w += w < 80 ? 1 : 9) {
                OwnedImf src, got, want;
                MakeRandom(rng, type, w, 3, 4, &src);
                const TLong left = std::uniform_int_distribution<TLong>(0, w / 4)(rng);
                const IMF_RECT area = {left, 1, w - left - std::uniform_int_distribution<TLong>(0, w / 4)(rng), 2};
                Clone(src.b, &want);
                reference::SwapColors(src.b, want.get(), area, mode);
                ASSERT_EQ(imfSwapColors(src.get(), got.get(), &area, mode), IMF_NOERROR);
                ASSERT_EQ(Diff(got.b, want.b), "") << TypeName(type) << " mode " << mode << " width " << w;
            }
}

// The source passed as its own destination is worked in place: same
// buffer, same bytes as a null destination, nothing replaced or leaked.
// A byte bitmap that claims 2..7 bits per component still holds a byte per
// component: its result is an ordinary 8-bit bitmap with the 8-bit bytes.
TEST(ChannelOps, ByteBitmapsClaimingFewerBitsComeOutAsEightBit) {
    using Op = IMF_ERROR (*)(IMF_BITMAP *, IMF_BITMAP *);
    struct Row { const char *name; unsigned type; Op op; } rows[] = {
        {"desaturate", IMF_RGB, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfDesaturate(s, d, nullptr); }},
        {"swap", IMF_RGB, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSwapColors(s, d, nullptr, 1); }},
        {"contra-brightness", IMF_GREY, [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfContraBrightness(s, d, nullptr, 40); }}};
    std::mt19937 rng(27);
    for (const Row &r : rows)
        for (TUword bits : {2, 5, 7}) {
            OwnedImf src, want, got;
            MakeRandom(rng, r.type, 9, 4, 4, &src);
            ASSERT_EQ(r.op(src.get(), want.get()), IMF_NOERROR);
            src->BitsPerComponent = bits;
            ASSERT_EQ(r.op(src.get(), got.get()), IMF_NOERROR) << r.name << " " << bits;
            EXPECT_EQ(got->BitsPerComponent, 8) << r.name << " " << bits;
            ASSERT_EQ(got->BytesPerLine, want->BytesPerLine) << r.name << " " << bits;
            EXPECT_EQ(std::memcmp(got->Data, want->Data, static_cast<std::size_t>(want->BytesPerLine) * want->Height), 0)
                << r.name << " " << bits;
        }
}

TEST(ChannelOps, ShadowHighlightWithTheSourceAsDestinationWorksInPlace) {
    std::mt19937 rng(77);
    for (unsigned type : {IMF_GREY, IMF_RGB, IMF_BGRA}) {
        OwnedImf b, want;
        MakeRandom(rng, type, 13, 5, 4, &b);
        Clone(*b.get(), &want);
        ASSERT_EQ(imfAdjustShadowHighlight(want.get(), nullptr, nullptr, 60, -40), IMF_NOERROR);
        const TUbyte *data = b->Data;
        ASSERT_EQ(imfAdjustShadowHighlight(b.get(), b.get(), nullptr, 60, -40), IMF_NOERROR);
        EXPECT_EQ(b->Data, data);
        EXPECT_EQ(Diff(*b.get(), *want.get()), "") << TypeName(type);
    }
    // Bitmaps without pixels (and so without a buffer): nothing to read or copy.
    struct Empty { TLong w, h, line; } empties[] = {{0, 3, 4}, {0, 3, 0}, {3, 0, 12}, {0, 0, 0}};
    for (const Empty &e : empties)
        for (unsigned type : {IMF_GREY, IMF_RGB, IMF_BGRA}) {
            IMF_BITMAP b{};
            b.Type = type, b.Width = e.w, b.Height = e.h, b.BytesPerLine = e.line;
            b.BytesPerPixel = type == IMF_GREY ? 1 : type == IMF_RGB ? 3 : 4;
            OwnedImf d;
            EXPECT_EQ(imfAdjustShadowHighlight(&b, d.get(), nullptr, 60, -40), IMF_NOERROR) << e.w << 'x' << e.h;
            EXPECT_EQ(imfAdjustShadowHighlight(&b, nullptr, nullptr, 60, -40), IMF_NOERROR) << e.w << 'x' << e.h;
        }
}

// Every byte layout against the plain reference: the colour bytes of dark
// and bright pixels stretched, a fourth byte left as it was.
TEST(ChannelOps, ShadowHighlightMatchesThePlainReferenceOnEveryLayout) {
    std::mt19937 rng(41);
    const std::pair<long, long> amounts[] = {{60, -40}, {-100, 100}, {25, 25}};
    for (unsigned type : {IMF_GREY, IMF_RGB, IMF_BGR, IMF_RGBA, IMF_BGRA})
        for (const auto &a : amounts) {
            OwnedImf src, got, want;
            MakeRandom(rng, type, 37, 5, 4, &src);
            Clone(src.b, &want);
            reference::ShadowHighlight(want.get(), IMF_RECT{0, 0, 37, 5}, a.first, a.second);
            ASSERT_EQ(imfAdjustShadowHighlight(src.get(), got.get(), nullptr, a.first, a.second), IMF_NOERROR);
            EXPECT_EQ(Diff(got.b, want.b), "") << TypeName(type) << " " << a.first << " " << a.second;
        }
}

TEST(ChannelOps, ShadowHighlightStatedValues) {
    // s = 30 maps 50 to 26; s = -30 maps 50 to 64; h = 50 maps 200 to 246 and
    // 205..255 to 255; h = -50 maps 200 to 179 (grey: each byte its own class).
    struct Case { long shadow, highlight; TUbyte in, out; } cases[] = {
        {100, 0, 50, 26}, {-100, 0, 50, 64}, {0, 100, 200, 246}, {0, 100, 205, 255},
        {0, -100, 200, 179}, {100, 100, 128, 128}, {0, 0, 3, 3}, {0, 0, 250, 250}};
    for (const Case &c : cases) {
        OwnedImf g;
        Row(IMF_GREY, {c.in}, &g);
        ASSERT_EQ(imfAdjustShadowHighlight(g.get(), nullptr, nullptr, c.shadow, c.highlight), IMF_NOERROR);
        EXPECT_EQ(g->Data[0], c.out) << c.shadow << " " << c.highlight << " " << int(c.in);
    }
    // Luminance 79 is shadow, 80 and 176 mid-tone, 177 highlight; a saturated
    // mid-tone pixel is left alone.
    OwnedImf rgb;
    Row(IMF_RGB, {79, 79, 79, 80, 80, 80, 176, 176, 176, 177, 177, 177, 255, 0, 255}, &rgb);
    ASSERT_EQ(imfAdjustShadowHighlight(rgb.get(), nullptr, nullptr, 100, 100), IMF_NOERROR);
    EXPECT_EQ(Bytes(rgb.b, 15),
              (std::vector<TUbyte>{64, 64, 64, 80, 80, 80, 176, 176, 176, 208, 208, 208, 255, 0, 255}));
}

// ---- Colour counting --------------------------------------------------------

TEST(CountColors, StatedCases) {
    OwnedImf bin;
    ASSERT_TRUE(imfAllock(bin.get(), IMF_BINARY, 1, 9, 3));
    EXPECT_EQ(imfGetCountColors(bin.get(), 0), 2u);
    OwnedImf grey;
    ASSERT_TRUE(imfAllock(grey.get(), IMF_GREY, 1, 9, 3));
    EXPECT_EQ(imfGetCountColors(grey.get(), 0), 1u);
    // The same colour at palette indices 3 and 7, both used, counts once.
    OwnedImf map;
    Row(IMF_COLORS, {3, 7, 3, 1}, &map);
    map->ColorMap->Red[3] = map->ColorMap->Red[7] = 9;
    map->ColorMap->Alpha[7] = 200;  // alpha is not compared
    map->ColorMap->Red[1] = 1;
    EXPECT_EQ(imfGetCountColors(map.get(), 0), 2u);
    OwnedImf rgba;
    Row(IMF_RGBA, {1, 2, 3, 0, 1, 2, 3, 99, 1, 2, 3, 255}, &rgba);
    EXPECT_EQ(imfGetCountColors(rgba.get(), 0), 1u);
    // 1000 colours: limit 10 stops at 11; 0 and -1 mean no limit; 820 grows once.
    OwnedImf many;
    ASSERT_TRUE(imfAllock(many.get(), IMF_RGB, 1, 1000, 1));
    for (int i = 0; i < 1000; ++i) {
        many->Data[3 * i] = static_cast<TUbyte>(i);
        many->Data[3 * i + 1] = static_cast<TUbyte>(i >> 8);
    }
    EXPECT_EQ(imfGetCountColors(many.get(), 10), 11u);
    EXPECT_EQ(imfGetCountColors(many.get(), 0), 1000u);
    EXPECT_EQ(imfGetCountColors(many.get(), -1), 1000u);
    many->Width = 820;
    EXPECT_EQ(imfGetCountColors(many.get(), 0), 820u);
    OwnedImf empty;
    ASSERT_TRUE(imfAllock(empty.get(), IMF_RGB, 1, 5, 0));
    EXPECT_EQ(imfGetCountColors(empty.get(), 0), 0u);
    OwnedImf empty_grey;
    ASSERT_TRUE(imfAllock(empty_grey.get(), IMF_GREY, 1, 0, 4));
    EXPECT_EQ(imfGetCountColors(empty_grey.get(), 0), 0u);
}

TEST(CountColors, PastTheLargestSetTheCountStaysExact) {
    // 2048 x 2048 distinct colours: more than the 3355443 that the hash set's
    // growth steps reach.
    OwnedImf b;
    ASSERT_TRUE(imfAllock(b.get(), IMF_BGRA, 1, 2048, 2048));
    for (uint32_t i = 0; i < 2048u * 2048u; ++i) {
        const uint32_t c = i * 7u;  // a permutation of the low 22 bits, spread
        b->Data[4 * i] = static_cast<TUbyte>(c);
        b->Data[4 * i + 1] = static_cast<TUbyte>(c >> 8);
        b->Data[4 * i + 2] = static_cast<TUbyte>(c >> 16);
    }
    EXPECT_EQ(imfGetCountColors(b.get(), 0), 2048u * 2048u);
    EXPECT_EQ(imfGetCountColors(b.get(), 3355443), 3355444u);
}

// ---- HLS and sepia (public layer, IMG_BITMAP) ------------------------------

struct Img {
    IMG_BITMAP *b = nullptr;
    explicit Img(IMG_BITMAP *p) : b(p) {}
    ~Img() { imgFreeBitmap(b); }
};

Img PixelsOf(IMG_BITMAP_TYPE type, std::vector<IMG_UINT8> bytes) {
    const int bpp = type == IMG_RGB || type == IMG_BGR ? 3 : 4;
    Img img(imgCreateBitmap(type, static_cast<IMG_INT32>(bytes.size() / bpp), 1));
    std::memcpy(img.b->Data, bytes.data(), bytes.size());
    return img;
}

std::vector<IMG_UINT8> Bytes(const IMG_BITMAP *b) {
    return std::vector<IMG_UINT8>(b->Data, b->Data + b->Width * b->BytesPerPixel);
}

// The vector code against the plain per-pixel code on every value of every
// component (the vector code derives v / 255 differently), with increments
// that clamp and that do not.
TEST(Hls, VectorsGiveThePlainBytesForEveryComponentValue) {
    std::vector<IMG_UINT8> px;
    for (int v = 0; v < 256; ++v)
        for (int c : {v, 255 - v, (v * 7) & 255, (v * 13) & 255, v, 40, 200, (v * 5) & 255, v}) px.push_back(static_cast<IMG_UINT8>(c));
    const int increments[2][3] = {{10, 5, 20}, {-30, -60, 80}};
    for (const auto &inc : increments) {
        Img fast = PixelsOf(IMG_RGB, px), plain = PixelsOf(IMG_RGB, px);
        ASSERT_EQ(imgAdjustHLS(fast.b, nullptr, inc[0], inc[1], inc[2]), IMG_NO_ERROR);
        const int64_t targets = hwy::SupportedTargets();
        hwy::SetSupportedTargetsForTest(HWY_SCALAR);
        ASSERT_EQ(imgAdjustHLS(plain.b, nullptr, inc[0], inc[1], inc[2]), IMG_NO_ERROR);
        hwy::SetSupportedTargetsForTest(targets);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        EXPECT_EQ(Bytes(fast.b), Bytes(plain.b)) << inc[0];
    }
}

TEST(Hls, StatedValues) {
    struct Case { int h, l, s; std::vector<IMG_UINT8> in, out; } cases[] = {
        {30, 0, 0, {128, 128, 128}, {128, 128, 128}},
        {0, 0, 50, {128, 128, 128}, {191, 64, 64}},
        {0, 100, 0, {255, 0, 0}, {255, 255, 255}},
        {0, 100, 0, {12, 200, 99}, {255, 254, 255}},  // l + s - l * s in doubles is just below 1
        {0, -100, 0, {12, 200, 99}, {0, 0, 0}},
        {0, 0, -100, {255, 0, 100}, {127, 127, 127}},
        {50, 0, 0, {255, 0, 0}, {0, 255, 255}},
        {150, 0, 0, {255, 0, 0}, {0, 255, 255}},  // beyond 100 wraps around
        {0, 0, 0, {68, 32, 130}, {67, 32, 130}},
    };
    for (const Case &c : cases) {
        Img img = PixelsOf(IMG_RGB, c.in);
        ASSERT_EQ(imgAdjustHLS(img.b, nullptr, c.h, c.l, c.s), IMG_NO_ERROR);
        EXPECT_EQ(Bytes(img.b), c.out) << c.h << " " << c.l << " " << c.s;
    }
    // ABGR and ARGB with the same colours agree; alpha stays.
    Img abgr = PixelsOf(IMG_ABGR, {7, 30, 20, 10}), argb = PixelsOf(IMG_ARGB, {9, 10, 20, 30});
    ASSERT_EQ(imgAdjustHLS(abgr.b, nullptr, 20, 5, 30), IMG_NO_ERROR);
    ASSERT_EQ(imgAdjustHLS(argb.b, nullptr, 20, 5, 30), IMG_NO_ERROR);
    EXPECT_EQ(abgr.b->Data[0], 7);
    EXPECT_EQ(argb.b->Data[0], 9);
    EXPECT_EQ(abgr.b->Data[3], argb.b->Data[1]);
    EXPECT_EQ(abgr.b->Data[2], argb.b->Data[2]);
    EXPECT_EQ(abgr.b->Data[1], argb.b->Data[3]);
}

TEST(Sepia, StatedValues) {
    struct Case { int percent; std::vector<IMG_UINT8> in, out; } plain[] = {
        {0, {255, 0, 0}, {76, 76, 76}}, {100, {255, 0, 0}, {140, 108, 76}},
        {0, {255, 255, 255}, {255, 255, 255}}, {57, {255, 255, 255}, {255, 255, 255}},
        {100, {255, 255, 255}, {255, 255, 255}}};
    for (const Case &c : plain) {
        Img img = PixelsOf(IMG_RGB, c.in);
        ASSERT_EQ(imgSepia(img.b, nullptr, c.percent), IMG_NO_ERROR);
        EXPECT_EQ(Bytes(img.b), c.out) << c.percent;
    }
    const IMG_COLOR brownish{255, 200, 150, 0};
    Img red = PixelsOf(IMG_BGRA, {0, 0, 255, 77});
    ASSERT_EQ(imgSepiaEx(red.b, nullptr, 100, &brownish), IMG_NO_ERROR);
    EXPECT_EQ(Bytes(red.b), (std::vector<IMG_UINT8>{0, 21, 76, 77}));
    Img same = PixelsOf(IMG_RGB, {12, 200, 99});
    ASSERT_EQ(imgSepiaEx(same.b, nullptr, 0, &brownish), IMG_NO_ERROR);
    EXPECT_EQ(Bytes(same.b), (std::vector<IMG_UINT8>{12, 200, 99}));
    // 99 blends towards the channel mean, 100 switches to the luminance.
    const IMG_COLOR white{255, 255, 255, 0};
    Img a = PixelsOf(IMG_RGB, {255, 0, 0}), b = PixelsOf(IMG_RGB, {255, 0, 0});
    ASSERT_EQ(imgSepiaEx(a.b, nullptr, 99, &white), IMG_NO_ERROR);
    ASSERT_EQ(imgSepiaEx(b.b, nullptr, 100, &white), IMG_NO_ERROR);
    EXPECT_EQ(Bytes(a.b), (std::vector<IMG_UINT8>{86, 84, 84}));
    EXPECT_EQ(Bytes(b.b), (std::vector<IMG_UINT8>{76, 76, 76}));
}

TEST(PublicColour, RefusalsLeaveEverythingAlone) {
    Img grey(imgCreateBitmap(IMG_GREY, 3, 3)), map(imgCreateBitmap(IMG_COLORS, 3, 3)), rgb(imgCreateBitmap(IMG_RGB, 3, 3));
    IMG_BITMAP *sentinel = reinterpret_cast<IMG_BITMAP *>(0x10);
    const IMG_COLOR ok{1, 2, 3, 0}, too_big{256, 0, 0, 0};
    for (IMG_BITMAP *b : {grey.b, map.b}) {
        IMG_BITMAP *out = sentinel;
        EXPECT_EQ(imgAdjustHLS(b, &out, 1, 1, 1), IMG_ERROR_BAD_PARAMETERS);
        EXPECT_EQ(imgSepia(b, &out, 50), IMG_ERROR_BAD_PARAMETERS);
        EXPECT_EQ(imgSepiaEx(b, &out, 50, &ok), IMG_ERROR_BAD_PARAMETERS);
        EXPECT_EQ(out, sentinel);
    }
    rgb.b->Data[0] = 9;
    IMG_BITMAP *out = sentinel;
    EXPECT_EQ(imgSepia(rgb.b, &out, 101), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_EQ(imgSepia(rgb.b, &out, -1), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_EQ(imgSepiaEx(rgb.b, &out, 50, &too_big), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_EQ(imgSepiaEx(rgb.b, &out, 50, nullptr), IMG_ERROR_BAD_PARAMETERS);
    EXPECT_EQ(out, sentinel);
    rgb.b->BitsPerComponent = 16;
    EXPECT_EQ(imgAdjustHLS(rgb.b, nullptr, 1, 1, 1), IMG_ERROR_BAD_PARAMETERS);
    rgb.b->BitsPerComponent = 8;
    // Malformed records, in place and with a destination: refused, nothing written.
    struct Bad { IMG_UINT32 line; IMG_UINT16 pixel; IMG_INT32 w, h; } bad[] = {
        {8, 3, 3, 3}, {0xFFFFFF00u, 3, 3, 3}, {12, 200, 3, 3}, {12, 3, -1, 3}, {12, 3, 3, -2}};
    const IMG_BITMAP keep = *rgb.b;
    for (const Bad &r : bad) {
        rgb.b->BytesPerLine = r.line, rgb.b->BytesPerPixel = r.pixel, rgb.b->Width = r.w, rgb.b->Height = r.h;
        for (IMG_BITMAP **dst : {static_cast<IMG_BITMAP **>(nullptr), &out}) {
            EXPECT_EQ(imgAdjustHLS(rgb.b, dst, 9, 9, 9), IMG_ERROR_BAD_PARAMETERS) << r.line << ' ' << r.pixel;
            EXPECT_EQ(imgSepia(rgb.b, dst, 50), IMG_ERROR_BAD_PARAMETERS) << r.line << ' ' << r.pixel;
            EXPECT_EQ(imgSepiaEx(rgb.b, dst, 50, &ok), IMG_ERROR_BAD_PARAMETERS) << r.line << ' ' << r.pixel;
        }
    }
    *rgb.b = keep;
    EXPECT_EQ(out, sentinel);
    EXPECT_EQ(rgb.b->Data[0], 9);
    EXPECT_EQ(imgAdjustHLS(nullptr, nullptr, 1, 1, 1), IMG_ERROR_BAD_PARAMETERS);
    // A clone is made whenever a destination is asked for, even for *dst == src.
    out = rgb.b;
    ASSERT_EQ(imgSepia(rgb.b, &out, 50), IMG_NO_ERROR);
    Img owned(out);
    EXPECT_NE(out, rgb.b);
    EXPECT_EQ(rgb.b->Data[0], 9);
}

// ---- Noise --------------------------------------------------------------------

// On every target this machine runs, the plain loops among them.
class NoiseTargets : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(NoiseTargets);

TEST_P(NoiseTargets, SameSecondGivesTheReferencesDraws) {
    std::mt19937 rng(4);
    // The last rounds are large enough for the rows of draws (made in pieces
    // of 2 048 bytes, so rows longer than that); their Poisson amounts reach
    // byte counts past which the products are always formed.
    for (int round = 0; round < 50; ++round) {
        const bool large = round >= 40;
        const unsigned type = large ? (round & 1 ? IMF_RGBA : IMF_RGB) : kByteTypes[round % 9];
        const int kind = round % 5;  // 4: an unknown type, uniform
        const double amount = kind != 3 ? (rng() % 200) / 2.0
                              : large   ? (round == 43 ? 0.9 : 2.8)
                                        : 0.02 + (rng() % 100) / 50.0;
        OwnedImf src;
        MakeRandom(rng, type, large ? 760 : 1 + static_cast<int>(rng() % 30), large ? 30 : 1 + static_cast<int>(rng() % 12),
                   4, &src);
        if (large && kind == 3)  // dark but for some full bytes: fewer draws for the reference
            for (long i = 0; i < src->BytesPerLine * src->Height; ++i) src->Data[i] >>= i % 61 ? 3 : 0;
        const bool with_area = round & 1;
        const IMF_RECT area = with_area ? RandomArea(rng, src->Width, src->Height) : IMF_RECT{0, 0, src->Width, src->Height};
        for (int attempt = 0; attempt < 5; ++attempt) {
            OwnedImf want, dst;
            Clone(src.b, &want);
            const time_t t = time(nullptr);
            srand(static_cast<unsigned>(t));
            reference::Noise(src.b, want.get(), area, amount, kind);
            ASSERT_EQ(imfNoise(src.get(), dst.get(), with_area ? &area : nullptr, amount, static_cast<TWord>(kind)),
                      IMF_NOERROR);
            if (time(nullptr) != t) continue;  // a second boundary fell between: draw again
            EXPECT_EQ(Diff(dst.b, want.b), "") << TypeName(type) << " kind " << kind << " amount " << amount;
            EXPECT_EQ(dst->TransparentIndex, -1);
            break;
        }
    }
}

// The private generator is what rand() gives after the same srand, across
// several blocks and for seeds at the edges of the seeding arithmetic (on a C
// library with another generator the calls fall back to rand() itself).
TEST_P(NoiseTargets, PrivateGeneratorIsRand) {
    for (unsigned seed : {0u, 1u, 12345u, 2147483647u, 2147483648u, 4294967295u}) {
        srand(seed);
        imge::noise::FeedbackDraws copy(seed);
        for (int i = 0; i < 5000; ++i) ASSERT_EQ(copy.Next(), static_cast<unsigned>(rand())) << seed << " draw " << i;
    }
}

TEST(Noise, DistributionsHaveTheirMeanAndSpread) {
    OwnedImf flat, out;
    ASSERT_TRUE(imfAllock(flat.get(), IMF_GREY, 1, 400, 400));
    std::memset(flat->Data, 100, 400 * 400);
    auto stats = [&](double *mean, double *sd) {
        double s = 0, s2 = 0;
        for (int i = 0; i < 400 * 400; ++i) s += out->Data[i], s2 += double(out->Data[i]) * out->Data[i];
        *mean = s / (400 * 400);
        *sd = std::sqrt(s2 / (400 * 400) - *mean * *mean);
    };
    double mean, sd;
    ASSERT_EQ(imfAddUniformNoise(flat.get(), out.get(), nullptr, 60), IMF_NOERROR);
    stats(&mean, &sd);
    EXPECT_NEAR(mean, 99.5, 0.5);  // truncation lowers the mean by about a half
    EXPECT_NEAR(sd, 60 / std::sqrt(12.0), 1.0);
    imfFree(out.get());
    // Gaussian: 10 * amount * sigma + 20 * tau, so sd = sqrt(100 a^2 + 400).
    ASSERT_EQ(imfAddGaussianNoise(flat.get(), out.get(), nullptr, 1), IMF_NOERROR);
    stats(&mean, &sd);
    EXPECT_NEAR(mean, 99.5, 0.7);
    EXPECT_NEAR(sd, std::sqrt(500.0), 1.5);
    imfFree(out.get());
    // Laplacian with scale b has sd b * sqrt(2).
    ASSERT_EQ(imfAddLaplacianNoise(flat.get(), out.get(), nullptr, 10), IMF_NOERROR);
    stats(&mean, &sd);
    EXPECT_NEAR(mean, 99.5, 0.7);
    EXPECT_NEAR(sd, 10 * std::sqrt(2.0), 1.0);
    imfFree(out.get());
    // Poisson: count / amount with mean amount * p / amount = p.
    ASSERT_EQ(imfAddPoissonNoise(flat.get(), out.get(), nullptr, 0.1), IMF_NOERROR);
    stats(&mean, &sd);
    EXPECT_NEAR(mean, 100, 1.5);
    EXPECT_NEAR(sd, std::sqrt(10.0) / 0.1, 3.0);
}

}  // namespace
