// Rank filters, Gaussian blur and drop shadow.
#include "op_table.h"

namespace imge {
namespace tool {

namespace {

Param SizeP(long def, long max) {
    return IntP("size", def, 2, max, "side of the square neighbourhood in pixels");
}

}  // namespace

std::vector<Op> RankOps() {
    return {
        Public("minimum", "Smallest value of each component over a square neighbourhood (dark areas grow)",
               {SizeP(3, 15)},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgMinimum(s, d, a.Int("size")); },
               "--size 5"),
        Public("maximum", "Largest value of each component over a square neighbourhood (bright areas grow)",
               {SizeP(3, 15)},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgMaximum(s, d, a.Int("size")); },
               "--size 5"),
        Public("median-box", "Median of each component over a square neighbourhood (removes specks)",
               {SizeP(3, 15)},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgMedianBox(s, d, a.Int("size")); },
               "--size 5"),
        Public("median-cross", "Median of each component over a cross (keeps thin lines better than the box)",
               {SizeP(3, 15)},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgMedianCross(s, d, a.Int("size")); },
               "--size 7"),
        Public("gaussian-blur", "Gaussian blur over a square of the given side", {SizeP(7, 25)},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgGaussianBlur(s, d, a.Int("size")); },
               "--size 11"),
        Public("drop-shadow", "Soft black shadow behind the image, on a larger white canvas",
               {IntP("size", 4, 0, 100, "width of the soft edge (and number of blur passes)"),
                IntP("depth", 6, 0, 1000, "offset of the shadow to the right and down, in pixels"),
                FlagP("keep-size", "shrink the image so that the result keeps its size")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgDropShadow(s, d, a.Int("size"), a.Int("depth"), a.Flag("keep-size") ? 1 : 0);
               },
               "--size 6 --depth 10"),
    };
}

}  // namespace tool
}  // namespace imge
