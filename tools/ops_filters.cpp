// Linear neighbourhood filters: user kernels, the predefined kernels,
// sharpen, blur, soften, box mean, noise reducer and edge enhancer.
#include <cmath>

#include "op_table.h"

namespace imge {
namespace tool {

namespace {

// The side of a square kernel given as n * n numbers, or 0.
int KernelSide(const std::vector<long> &k) {
    for (int n = 1; n <= 7; ++n)
        if (static_cast<size_t>(n * n) == k.size()) return n;
    return 0;
}

void CheckKernel(const Args &a) {
    if (!KernelSide(a.Ints("kernel")))
        throw ToolError{"--kernel: give 1, 4, 9, 16, 25, 36 or 49 numbers (a square of side 1..7), row by row"};
    if (a.Int("divisor") == 0) throw ToolError{"--divisor: must not be 0"};
}

Op Named(const std::string &name, const std::string &summary, IMG_ERROR (*f)(IMG_BITMAP *, IMG_BITMAP **)) {
    return Public(name, summary, {}, [f](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return f(s, d); });
}

}  // namespace

std::vector<Op> FilterOps() {
    return {
        WithCheck(Public("convolve", "Convolves with a square kernel of side 1..7: sum / divisor + bias, clamped",
                         {IntsP("kernel", "1,2,1,2,4,2,1,2,1", -32768, 32767,
                                "coefficients row by row (1, 4, 9, ... 49 of them)"),
                          IntP("divisor", 16, -32768, 32767, "divisor of the weighted sum (not 0)"),
                          IntP("bias", 0, -32768, 32767, "added after the division")},
                         [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                             IMG_FILTER f{};
                             const std::vector<long> &k = a.Ints("kernel");
                             f.Size = static_cast<IMG_INT16>(KernelSide(k));
                             for (size_t i = 0; i < k.size(); ++i) f.Matrix[i] = static_cast<IMG_INT16>(k[i]);
                             f.Divisor = static_cast<IMG_INT16>(a.Int("divisor"));
                             f.Bias = static_cast<IMG_INT16>(a.Int("bias"));
                             return imgConvolve(s, d, &f);
                         },
                         "--kernel 0,-1,0,-1,5,-1,0,-1,0 --divisor 1"),
                  CheckKernel),
        Processing("convolve-index", "Convolves with one of the nine predefined 3 x 3 kernels",
                   {ChoiceP("kernel", "sharpen",
                            "enhance-detail=0|enhance-focus=1|focus-restoration=2|sharpen=3|edge-light=4|"
                            "edge-medium=5|edge-heavy=6|emboss=7|emboss-more=8",
                            "the predefined kernel")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       return imfConvolveIndex(s, d, nullptr, static_cast<TLong>(a.Int("kernel")));
                   }),
        Named("enhance-detail", "Enhances detail (3 x 3 kernel, centre 10, edges -1, over 6)", imgEnhanceDetail),
        Named("enhance-focus", "Enhances focus (3 x 3 kernel, centre 7, corners -1, over 3)", imgEnhanceFocus),
        Named("focus-restoration", "Restores focus (3 x 3 kernel, centre 5, edges -1)", imgFocusRestoration),
        Named("edge-detect-light", "Light edge detection (4-neighbour Laplacian, plus 128)", imgEdgeDetectLight),
        Named("edge-detect-medium", "Medium edge detection (8-neighbour Laplacian, plus 128)", imgEdgeDetectMedium),
        Named("edge-detect-heavy", "Heavy edge detection (plus 128)", imgEdgeDetectHeavy),
        Named("emboss", "Emboss (bottom-right minus top-left, plus 128)", imgEmboss),
        Named("emboss-more", "Stronger emboss (plus 128)", imgEmbossMore),
        Public("sharpen", "Pushes every byte away from the mean of its eight neighbours",
               {IntP("percentage", 50, -100000, 100000, "strength; 0 changes nothing, 100 is the strongest")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgSharpen(s, d, static_cast<IMG_INT32>(a.Int("percentage")));
               },
               "--percentage 60"),
        Public("blur", "Blurs with a 3 x 3 kernel (edges weigh twice the corners)",
               {IntP("percentage", 50, -100000, 100, "strength; 100 is the strongest")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgBlur(s, d, static_cast<IMG_INT32>(a.Int("percentage")));
               },
               "--percentage 100"),
        Public("soften", "Softens with a 3 x 3 kernel (all neighbours alike)",
               {IntP("percentage", 50, -100000, 100, "strength; 100 is the strongest")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgSoften(s, d, static_cast<IMG_INT32>(a.Int("percentage")));
               },
               "--percentage 100"),
        Public("average", "Box mean of an N x N square",
               {IntP("size", 5, 2, 15, "side of the square")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgAverage(s, d, static_cast<IMG_INT32>(a.Int("size")));
               },
               "--size 7"),
        Named("reduce-noise", "Noise reduction over a 5 x 5 cross (7 centre, 3 near, -1 far, over 15)", imgReduceNoise),
        Processing("edge", "Edge enhancement: centre t + 9, neighbours -1, over t + 1 (t from the percentage)",
                   {IntP("percentage", 50, -100000, 100, "strength; 100 is the plain Laplacian sharpening")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       return imfEdge(s, d, nullptr, static_cast<TLong>(a.Int("percentage")));
                   },
                   "--percentage 100"),
    };
}

}  // namespace tool
}  // namespace imge
