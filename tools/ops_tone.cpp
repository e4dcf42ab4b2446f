// Tone curves, histograms and automatic corrections.
#include <string>

#include "io/image_io.h"
#include "op_table.h"
#include "plot.h"

namespace imge {
namespace tool {

namespace {

// Balance offsets -128..127 as the public colour carries them: the low byte of
// each component, read as a signed byte.
IMG_COLOR OffsetColor(const std::vector<long> &v) {
    IMG_COLOR c{};
    c.Red = static_cast<IMG_UINT16>(v[0] & 0xFF);
    c.Green = static_cast<IMG_UINT16>(v[1] & 0xFF);
    c.Blue = static_cast<IMG_UINT16>(v[2] & 0xFF);
    return c;
}

void CheckOffsets(const Args &a) {
    if (a.Ints("offsets").size() != 3) throw ToolError{"--offsets: give three offsets red,green,blue"};
}

// The four histograms (luminance, red, green, blue) as lines "value l r g b"
// for every value that occurs.
std::string Histogram(const IMG_BITMAP &b) {
    IMF_BITMAP view = ImfView(b);
    std::vector<TUlong> h(4 * 256);
    imfCreateAllHistogram(&view, h.data());
    std::string s = "value luminance red green blue\n";
    for (int v = 0; v < 256; ++v) {
        if (!h[v] && !h[256 + v] && !h[512 + v] && !h[768 + v]) continue;
        s += std::to_string(v) + " " + std::to_string(h[v]) + " " + std::to_string(h[256 + v]) + " " +
             std::to_string(h[512 + v]) + " " + std::to_string(h[768 + v]) + "\n";
    }
    return s;
}

void CheckPlotName(const Args &a) {
    Format f;
    const std::string &name = a.Text("plot");
    if (name != "none" && !FormatForName(name, &f))
        throw ToolError{"--plot '" + name + "': cannot tell the format (use .png, .jpg or .ppm)"};
}

}  // namespace

std::vector<Op> ToneOps() {
    return {
        Public("brightness", "Adds a constant to every component (limited to 0..255)",
               {IntP("amount", 20, -255, 255, "value added to every component")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgBrightness(s, d, a.Int("amount")); }),
        Public("contrast", "Stretches (above 0) or compresses (below 0) the values around the middle",
               {IntP("amount", 30, -127, 127, "contrast")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgContrast(s, d, a.Int("amount")); }),
        Public("gamma", "Gamma correction: above 1 lightens, below 1 darkens",
               {RealP("gamma", 2.2, 0.01, 100, "gamma (the exponent is its reciprocal)")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgGamma(s, d, a.Real("gamma")); }),
        Public("log", "Logarithmic correction (lightens the shadows)", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgLogCorrection(s, d); }),
        Processing("levels", "0 up to --low, 255 from --high, linear in between",
                   {IntP("low", 30, -1, 256, "values up to this become 0"),
                    IntP("high", 220, -1, 256, "values from this become 255")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       return imfLevels(s, d, nullptr, a.Int("low"), a.Int("high"));
                   }),
        Processing("posterize", "Reduces every component to a number of levels",
                   {IntP("levels", 4, 2, 256, "levels per component")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) { return imfPosterize(s, d, nullptr, a.Int("levels")); }),
        Processing("solarize", "Inverts the values above a threshold",
                   {IntP("threshold", 128, 0, 255, "values above it are inverted")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) { return imfSolarize(s, d, nullptr, a.Int("threshold")); }),
        Public("adjust", "Brightness, then contrast, then gamma",
               {IntP("brightness", 10, -255, 255, "value added first"),
                IntP("contrast", 20, -127, 127, "contrast applied second"),
                RealP("gamma", 1.2, 0.01, 100, "gamma applied last (0.9999..1.0001: none)")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgAdjust(s, d, a.Int("brightness"), a.Int("contrast"), a.Real("gamma"));
               }),
        TrueColour(Processing("proportional-brightness",
                   "Moves components towards white (above 0) or black (below 0)",
                   {IntP("amount", 60, -255, 255, "share of the distance, in 255ths")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       return imfContraBrightness(s, d, nullptr, a.Int("amount"));
                   })),
        TrueColour(Processing("saturation-gamma", "Saturation gamma: smaller components pushed from or pulled to the largest",
                   {RealP("gamma", 1.8, 0.01, 100, "exponent applied to component / largest component")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) { return imfGammasat(s, d, nullptr, a.Real("gamma")); })),
        Public("equalize", "Histogram equalisation of every component", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgEqualize(s, d); }),
        Public("equalize-luminance", "Histogram equalisation of the luminance, one curve for every component", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgEqualizeOnLuminance(s, d); }),
        Public("normalize", "Stretches every component to the full range", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgNormalize(s, d); }),
        Public("auto-levels", "Stretches every component to the full range, ignoring 0.1 % at either end", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgAutomaticLevels(s, d); }),
        Public("auto-contrast", "Centres and stretches the luminance range", {},
               [](const Args &, IMG_BITMAP *s, IMG_BITMAP **d) { return imgAutomaticContrast(s, d); }),
        WithCheck(Public("balance", "Adds an offset to each of red, green and blue",
                         {IntsP("offsets", "20,0,-20", -128, 127, "red,green,blue offsets")},
                         [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                             const IMG_COLOR c = OffsetColor(a.Ints("offsets"));
                             return imgBalance(s, d, &c);
                         }),
                  CheckOffsets),
        WithCheck(Report("histogram",
                         "Prints the luminance, red, green and blue histograms (values that occur); --plot "
                         "draws them into a picture",
                         {Param{"plot", Kind::Text, "none", 0, 0,
                                "also draw the four histograms into this file (.png, .jpg, .ppm)", ""}},
                         [](const Args &a, const IMG_BITMAP &b) {
                             if (a.Text("plot") != "none") SaveImage(*HistogramPlot(b), a.Text("plot"));
                             return Histogram(b);
                         }),
                  CheckPlotName),
    };
}

}  // namespace tool
}  // namespace imge
