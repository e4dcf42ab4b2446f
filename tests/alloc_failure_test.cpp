// Allocation failures through every kind of entry point: this program puts
// its own malloc, calloc and realloc in front of the C library's (operator
// new and libjpeg, libpng and stdio all come through them) and fails the
// n-th allocation of one call, for n = 1, 2, ... until the call makes fewer.
// Whatever fails, no exception may leave the C interface, the call must
// return, and no scratch file may stay behind.
#include <gtest/gtest.h>

#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#include "support/exif_block.h"
#include "support/jpeg_files.h"

extern "C" void *__libc_malloc(size_t);
extern "C" void *__libc_calloc(size_t, size_t);
extern "C" void *__libc_realloc(void *, size_t);

namespace {

long g_fail_at = 0;  // 0: nothing fails
long g_seen = 0;

bool FailThisOne() { return g_fail_at > 0 && ++g_seen == g_fail_at; }

}  // namespace

extern "C" void *malloc(size_t n) { return FailThisOne() ? nullptr : __libc_malloc(n); }
extern "C" void *calloc(size_t n, size_t size) { return FailThisOne() ? nullptr : __libc_calloc(n, size); }
extern "C" void *realloc(void *p, size_t n) { return FailThisOne() ? nullptr : __libc_realloc(p, n); }

namespace {

using namespace testing_support;

int FilesIn(const std::string &dir) {
    DIR *d = opendir(dir.c_str());
    int n = 0;
    while (dirent *e = readdir(d)) n += e->d_name[0] != '.';
    closedir(d);
    return n;
}

TEST(AllocationFailure, NoExceptionLeavesAnyKindOfEntryPoint) {
    TempDir scratch, files;
    setenv("TMPDIR", scratch.path().c_str(), 1);  // where the thumbnail step's scratch files go
    IMG_BITMAP *rgb = imgCreateBitmap(IMG_RGB, 40, 30);
    for (IMG_UINT32 i = 0; i < 30 * rgb->BytesPerLine; ++i) rgb->Data[i] = IMG_UINT8(i * 7);
    IMG_BITMAP *palette = imgCreateBitmap(IMG_COLORS, 40, 30);
    palette->ColorUsed = 256;
    IMF_BITMAP imf{};
    imfAllock(&imf, IMF_RGB, 1, 40, 30);
    ExifRecipe exif;
    exif.orientation = 6;
    exif.thumbnail = MakeJpeg({});
    JpegRecipe photo;
    photo.width = 75;
    photo.height = 50;
    photo.markers = {{0xE1, MakeExifBlock(exif)}};
    const Bytes jpeg = MakeJpeg(photo);
    const std::string src = files.File("src.jpg"), out = files.File("out.jpg"), png = files.File("in.png"),
                      out_png = files.File("out.png");
    WriteFileBytes(src, jpeg);
    const std::string in_place = files.File("in-place.jpg");  // turned a quarter at every call
    WriteFileBytes(in_place, jpeg);
    const IMG_LOAD_OPTIONS turn{0, 1};
    ASSERT_EQ(imgSaveBitmap(png.c_str(), rgb, nullptr), IMG_NO_ERROR);
    const IMG_COLOR red{255, 0, 0, 255};
    const IMG_POINT points[4] = {{1, 1}, {30, 4}, {20, 25}, {3, 20}};
    IMG_FILTER filter{};
    filter.Size = 3;
    filter.Matrix[4] = 1;
    filter.Divisor = 1;

    struct Case {
        const char *name;
        std::function<void()> call;
    };
    // A call that makes a new bitmap in `d`.
#define MAKES(name, expr) {name, [&] { IMG_BITMAP *d = nullptr; (void)(expr); imgFreeBitmap(d); }}
#define RUNS(name, expr) {name, [&] { (void)(expr); }}
    const Case cases[] = {
        MAKES("negative", imgNegative(rgb, &d)),
        MAKES("adjust", imgAdjust(rgb, &d, 10, 20, 1.5)),
        MAKES("equalize on luminance", imgEqualizeOnLuminance(rgb, &d)),
        MAKES("automatic levels", imgAutomaticLevels(rgb, &d)),
        MAKES("balance", imgBalance(rgb, &d, &red)),
        MAKES("convolve", imgConvolve(rgb, &d, &filter)),
        MAKES("sharpen", imgSharpen(rgb, &d, 50)),
        MAKES("edge detect", imgEdgeDetectHeavy(rgb, &d)),
        MAKES("average", imgAverage(rgb, &d, 5)),
        MAKES("median box", imgMedianBox(rgb, &d, 15)),
        MAKES("median cross", imgMedianCross(rgb, &d, 5)),
        MAKES("minimum", imgMinimum(rgb, &d, 3)),
        MAKES("gaussian blur", imgGaussianBlur(rgb, &d, 9)),
        MAKES("drop shadow", imgDropShadow(rgb, &d, 5, 3, 0)),
        MAKES("swap colours", imgSwapColors(rgb, &d, IMG_SWAPCOLORS_BGR)),
        MAKES("HLS", imgAdjustHLS(rgb, &d, 30, 10, -10)),
        MAKES("sepia", imgSepia(rgb, &d, 80)),
        MAKES("polygon", imgDrawPolygonColor(rgb, points, 4, &red, 3, &red, IMG_LINE_STYLE(0), &d)),
        MAKES("circle", imgDrawCircleColor(rgb, 20, 15, 9, &red, 2, &red, IMG_LINE_STYLE(0), &d)),
        MAKES("line on a palette", imgDrawLineColor(palette, 0, 0, 39, 29, 3, &red, IMG_LINE_STYLE(0), &d)),
        RUNS("colours used", imgGetNumberOfColorsUsed(rgb)),
        RUNS("count colours", imfGetCountColors(&imf, 1000)),
        RUNS("noise", imfAddGaussianNoise(&imf, nullptr, nullptr, 20)),
        RUNS("poisson noise", imfAddPoissonNoise(&imf, nullptr, nullptr, 1)),
        {"shadow and highlight", [&] { IMF_BITMAP r{}; imfAdjustShadowHighlight(&imf, &r, nullptr, 20, 20); imfFree(&r); }},
        RUNS("desaturate", imfDesaturate(&imf, nullptr, nullptr)),
        {"resize", [&] { IMF_BITMAP r{}; imfResize(&imf, &r, 17, 61, 0); imfFree(&r); }},
        {"copy", [&] { IMF_BITMAP c{}; imfCopy(&imf, &c, nullptr); imfFree(&c); }},
        {"clone", [&] { imgFreeBitmap(imgCloneBitmap(rgb)); }},
        MAKES("load PNG", imgLoadBitmap(png.c_str(), &d)),
        MAKES("load JPEG turned", imgLoadBitmapEx(src.c_str(), &turn, &d)),
        RUNS("save JPEG", imgSaveBitmap(out.c_str(), rgb, nullptr)),
        RUNS("save PNG", imgSaveBitmap(out_png.c_str(), rgb, nullptr)),
        RUNS("lossless turn and thumbnail",
             imfJpegLosslessTransformEx(src.c_str(), out.c_str(), IMF_LOSSLESS_TRANSFORM_EXIF_ORIENTATION, 0)),
        RUNS("lossless crop", imfJpegLosslessCropEx(src.c_str(), out.c_str(), 3, 3, 100, 30, 0)),
        RUNS("lossless in place", imgJpegLosslessTransform(in_place.c_str(), IMG_LOSSLESS_TRANSFORM_ROTATE90)),
    };
#undef MAKES
#undef RUNS
    for (const Case &c : cases) {
        long n = 1;
        for (;; ++n) {
            g_seen = 0;
            g_fail_at = n;
            bool threw = false;
            try {
                c.call();
            } catch (...) {
                threw = true;
            }
            g_fail_at = 0;
            ASSERT_FALSE(threw) << c.name << ": an exception when allocation " << n << " failed";
            if (g_seen < n) break;  // the call no longer reaches the n-th allocation
        }
        EXPECT_GT(n, 1) << c.name << " allocates nothing";
        EXPECT_EQ(FilesIn(scratch.path()), 0) << c.name << " left scratch files";
    }
    imfFree(&imf);
    imgFreeBitmap(palette);
    imgFreeBitmap(rgb);
}

}  // namespace
