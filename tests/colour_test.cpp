// Channel operations, shadow/highlight, colour counting, HLS, sepia and
// noise: stated values, the plain references on random bitmaps, refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <vector>

#include <hwy/targets.h>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "reference/colour_reference.h"
#include "support/bitmaps.h"

using namespace testing_support;

namespace {

const unsigned kTrueColour[7] = {IMF_RGB, IMF_BGR, IMF_RGBA, IMF_ABGR, IMF_BGRA, IMF_ARGB, IMF_CMYK};
const unsigned kNotMapped[8] = {IMF_GREY, IMF_RGB, IMF_BGR, IMF_RGBA, IMF_ABGR, IMF_BGRA, IMF_ARGB, IMF_CMYK};

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

// Rows of only mid-tones (passed through whole vectors), only shadows, only
// highlights, and mixtures; widths across several vector lengths with every
// tail; in place, with a destination, with an area.
void CheckShadowHighlightVectors(unsigned seed) {
    std::mt19937 rng(seed);
    for (unsigned type : {IMF_RGB, IMF_BGR, IMF_RGBA, IMF_ARGB}) {
        for (int w = 1; w < 300; w += 11) {
            OwnedImf src;
            MakeRandom(rng, type, w, 5, 1 + static_cast<int>(rng() % 4), &src);
            const int bpp = src->BytesPerPixel;
            for (int x = 0; x < w; ++x) {
                TUbyte *row[4];
                for (int y = 0; y < 4; ++y) row[y] = src->Data + y * src->BytesPerLine + x * bpp;
                for (int k = 0; k < 3; ++k) {
                    row[0][k] = static_cast<TUbyte>(90 + rng() % 70);  // luminance 90..159
                    row[1][k] = static_cast<TUbyte>(rng() % 60);
                    row[2][k] = static_cast<TUbyte>(200 + rng() % 56);
                    if (rng() % 9 == 0) row[3][k] = static_cast<TUbyte>(rng() % 30);  // a dark pixel now and then
                    else row[3][k] = static_cast<TUbyte>(100 + rng() % 40);
                }
            }
            const IMF_RECT all{0, 0, w, 5};
            const IMF_RECT part{w / 4, 1, w - w / 3, 3};
            for (int variant = 0; variant < 3; ++variant) {
                SCOPED_TRACE(TypeName(type) + " " + std::to_string(w) + " variant " + std::to_string(variant));
                OwnedImf work, want, dst;
                Clone(src.b, &work);
                Clone(src.b, &want);
                const IMF_RECT &r = variant == 2 ? part : all;
                reference::ShadowHighlight(want.get(), r, 60, -80);
                ASSERT_EQ(imfAdjustShadowHighlight(work.get(), variant ? dst.get() : nullptr,
                                                   variant == 2 ? &r : nullptr, 60, -80),
                          IMF_NOERROR);
                EXPECT_EQ(Diff(variant ? dst.b : work.b, want.b), "");
            }
        }
    }
}

TEST(ChannelOps, ShadowHighlightVectorsOfEveryClassAndTail) { CheckShadowHighlightVectors(41); }

// Widths across several vector lengths with every tail.
void CheckExtraction(unsigned seed) {
    std::mt19937 rng(seed);
    const unsigned types[8] = {IMF_COLORS, IMF_RGB, IMF_BGR, IMF_RGBA, IMF_ABGR, IMF_BGRA, IMF_ARGB, IMF_CMYK};
    for (unsigned type : types)
        for (TLong channel = -1; channel <= 5; ++channel) {
            SCOPED_TRACE(TypeName(type) + " channel " + std::to_string(channel));
            OwnedImf s, d;
            MakeRandom(rng, type, 1 + static_cast<int>(rng() % 300), 1 + static_cast<int>(rng() % 7), 4, &s);
            s->TransparentIndex = 3;
            const std::vector<TUbyte> want = reference::ExtractChannel(s.b, channel);
            const bool in_place = channel & 1;
            ASSERT_EQ(imfExtractChannel(s.get(), in_place ? nullptr : d.get(), channel), IMF_NOERROR);
            const IMF_BITMAP &g = in_place ? s.b : d.b;
            EXPECT_EQ(g.Type, IMF_GREY);
            EXPECT_EQ(g.ColorUsed, 256);
            EXPECT_EQ(g.TransparentIndex, -1);
            std::vector<TUbyte> got;
            for (TLong y = 0; y < g.Height; ++y)
                got.insert(got.end(), g.Data + y * g.BytesPerLine, g.Data + y * g.BytesPerLine + g.Width);
            EXPECT_EQ(got, want);
        }
}

// The source passed as its own destination is worked in place: same
// buffer, same bytes as a null destination, nothing replaced or leaked.
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

TEST(CountColors, MatchesTheHashSetOnRandomBitmapsAndLimits) {
    std::mt19937 rng(21);
    for (int round = 0; round < 120; ++round) {
        const unsigned type = kByteTypes[round % 9];
        OwnedImf b;
        MakeRandom(rng, type, 1 + static_cast<int>(rng() % 90), 1 + static_cast<int>(rng() % 60), 4, &b);
        // Fewer distinct values in some rounds, so that colours repeat.
        if (round % 3 == 0)
            for (TLong i = 0; i < b->BytesPerLine * b->Height; ++i) b->Data[i] &= 0xC3;
        if (type == IMF_COLORS) {
            b->ColorUsed = static_cast<TWord>(rng() % 300);
            for (int i = 0; i < 256; ++i) b->ColorMap->Red[i] &= 1, b->ColorMap->Green[i] &= 1, b->ColorMap->Blue[i] = 0;
        }
        const TLong limit = round % 4 == 0 ? 0 : static_cast<TLong>(rng() % 3000) - 100;
        EXPECT_EQ(imfGetCountColors(b.get(), limit), reference::CountColors(b.b, limit)) << TypeName(type) << " " << limit;
    }
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

void Randomise(std::mt19937 &rng, IMG_BITMAP *b) {
    for (IMG_UINT32 i = 0; i < b->BytesPerLine * static_cast<IMG_UINT32>(b->Height); ++i)
        b->Data[i] = static_cast<IMG_UINT8>(rng());
}

void CheckHlsOnRandomBitmaps(unsigned seed, int rounds) {
    const IMG_BITMAP_TYPE types[7] = {IMG_RGB, IMG_RGBA, IMG_CMYK, IMG_BGR, IMG_BGRA, IMG_ARGB, IMG_ABGR};
    std::mt19937 rng(seed);
    for (int round = 0; round < rounds; ++round) {
        Img img(imgCreateBitmap(types[round % 7], 1 + static_cast<int>(rng() % 70), 1 + static_cast<int>(rng() % 20)));
        Randomise(rng, img.b);
        // Few distinct colours in some rounds, so that remembered results are reused.
        if (round % 2) for (IMG_UINT32 i = 0; i < img.b->BytesPerLine * img.b->Height; ++i) img.b->Data[i] &= 0xE0;
        const int h = static_cast<int>(rng() % 601) - 300, l = static_cast<int>(rng() % 241) - 120,
                  s = static_cast<int>(rng() % 241) - 120;
        Img want(imgCloneBitmap(img.b));
        reference::AdjustHls(want.b, h, l, s);
        IMG_BITMAP *out = nullptr;
        ASSERT_EQ(imgAdjustHLS(img.b, &out, h, l, s), IMG_NO_ERROR);
        Img owned(out);
        ASSERT_NE(out, nullptr);
        EXPECT_NE(out, img.b);
        EXPECT_EQ(std::memcmp(out->Data, want.b->Data, want.b->BytesPerLine * want.b->Height), 0)
            << h << " " << l << " " << s;
        ASSERT_EQ(imgAdjustHLS(img.b, nullptr, h, l, s), IMG_NO_ERROR);
        EXPECT_EQ(std::memcmp(img.b->Data, want.b->Data, want.b->BytesPerLine * want.b->Height), 0);
    }
    // Hue increments at and beside the largest handled in vectors (ten turns).
    for (int h : {1000, -1000, 1001, -1001, 999}) {
        Img img(imgCreateBitmap(IMG_BGRA, 77, 3));
        Randomise(rng, img.b);
        Img want(imgCloneBitmap(img.b));
        reference::AdjustHls(want.b, h, 3, -7);
        ASSERT_EQ(imgAdjustHLS(img.b, nullptr, h, 3, -7), IMG_NO_ERROR);
        EXPECT_EQ(std::memcmp(img.b->Data, want.b->Data, img.b->BytesPerLine * img.b->Height), 0) << h;
    }
    // Huge hue increments: the hue is brought back by whole turns, exactly.
    Img big(imgCreateBitmap(IMG_RGB, 40, 2));
    Randomise(rng, big.b);
    Img want(imgCloneBitmap(big.b));
    reference::AdjustHls(want.b, 2000003, 0, 0);
    ASSERT_EQ(imgAdjustHLS(big.b, nullptr, 2000003, 0, 0), IMG_NO_ERROR);
    EXPECT_EQ(std::memcmp(big.b->Data, want.b->Data, big.b->BytesPerLine * big.b->Height), 0);
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

// The vector paths on every vector target this machine can run (the best
// one is chosen otherwise, so the narrower ones would go untested).
TEST(PublicColour, VectorPathsMatchTheReferencesOnEveryTarget) {
    for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        const unsigned seed = static_cast<unsigned>(target % 1000);
        CheckShadowHighlightVectors(seed + 1);
        CheckExtraction(seed + 5);
        CheckHlsOnRandomBitmaps(seed + 3, 30);
        if (HasFailure()) break;
    }
    hwy::SetSupportedTargetsForTest(0);
}

// ---- Noise --------------------------------------------------------------------

TEST(Noise, SameSecondGivesTheReferencesDraws) {
    std::mt19937 rng(4);
    for (int round = 0; round < 40; ++round) {
        const unsigned type = kByteTypes[round % 9];
        const int kind = round % 5;  // 4: an unknown type, uniform
        const double amount = kind == 3 ? 0.02 + (rng() % 100) / 50.0 : (rng() % 200) / 2.0;
        OwnedImf src;
        MakeRandom(rng, type, 1 + static_cast<int>(rng() % 30), 1 + static_cast<int>(rng() % 12), 4, &src);
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

TEST(Noise, DeterministicCases) {
    std::mt19937 rng(6);
    OwnedImf s, before;
    MakeRandom(rng, IMF_RGBA, 40, 30, 1, &s);
    Clone(s.b, &before);
    ASSERT_EQ(imfAddUniformNoise(s.get(), nullptr, nullptr, 0), IMF_NOERROR);
    EXPECT_EQ(Diff(s.b, before.b), "");  // uniform 0 changes nothing
    ASSERT_EQ(imfAddUniformNoise(s.get(), nullptr, nullptr, 100), IMF_NOERROR);
    for (int i = 0; i < 40 * 30 * 4; ++i) {
        if (i % 4 == 3) {
            ASSERT_EQ(s->Data[i], before->Data[i]);  // the fourth byte is kept
        } else {
            ASSERT_LE(std::abs(s->Data[i] - before->Data[i]), 50);
        }
    }
    // Poisson on a 0 pixel gives 0; only the area changes.
    OwnedImf g, gd;
    ASSERT_TRUE(imfAllock(g.get(), IMF_GREY, 1, 30, 30));
    std::memset(g->Data + 30 * 15, 200, 30 * 15);
    const IMF_RECT area{5, 5, 10, 10};
    ASSERT_EQ(imfAddPoissonNoise(g.get(), gd.get(), &area, 0.05), IMF_NOERROR);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 30; ++x) {
            const bool inside = x >= 5 && x < 15 && y >= 5 && y < 15;
            if (!inside || y < 15) {
                ASSERT_EQ(gd->Data[y * 30 + x], g->Data[y * 30 + x]) << x << "," << y;
            }
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
