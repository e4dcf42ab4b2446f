// Channel operations, shadow/highlight, colour counting, HLS, sepia and noise.
#include <string>

#include "op_table.h"

namespace imge {
namespace tool {

std::vector<Op> ColourOps() {
    return {
        TrueColour(Processing("desaturate", "Each pixel grey at (min + max) / 2 of its components (type kept)", {},
                   [](const Args &, IMF_BITMAP *s, IMF_BITMAP *d) { return imfDesaturate(s, d, nullptr); })),
        TrueColour(Processing("extract-channel", "One component as a grey picture",
                   {ChoiceP("channel", "green", "red=0|green=1|blue=2|alpha=3", "the component")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) { return imfExtractChannel(s, d, a.Int("channel")); })),
        Public("swap-colors", "Exchanges colour components (rbg: green and blue, bgr: red and blue, ...)",
               {ChoiceP("order", "bgr", "rbg=0|bgr=1|brg=2|grb=3|gbr=4", "the new order of red, green and blue")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgSwapColors(s, d, static_cast<IMG_SWAPCOLORS_MODE>(a.Int("order")));
               }),
        TrueColour(Processing("shadow-highlight", "Stretches the shadows and the highlights by separate amounts",
                   {IntP("shadow", 40, -400, 400, "above 0 darkens the shadows, below 0 lightens them"),
                    IntP("highlight", 40, -250, 250, "above 0 brightens the highlights, below 0 darkens them")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       return imfAdjustShadowHighlight(s, d, nullptr, a.Int("shadow"), a.Int("highlight"));
                   })),
        Report("colors", "Prints the number of distinct colours", {},
               [](const Args &, const IMG_BITMAP &b) {
                   return std::to_string(imgGetNumberOfColorsUsed(&b)) + "\n";
               }),
        TrueColour(Public("hls", "Shifts hue (100 = a full turn), lightness and saturation (percent)",
               {IntP("hue", 20, -1000, 1000, "hue shift"), IntP("lightness", 0, -100, 100, "lightness change"),
                IntP("saturation", 20, -100, 100, "saturation change")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgAdjustHLS(s, d, a.Int("hue"), a.Int("lightness"), a.Int("saturation"));
               })),
        TrueColour(Public("sepia", "Grey with a warm tint", {IntP("percent", 100, 0, 100, "strength of the tint")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) { return imgSepia(s, d, a.Int("percent")); })),
        TrueColour(Public("sepia-ex", "Blends towards grey and tints towards a colour",
               {IntP("percent", 80, 0, 100, "strength"), ColorP("color", "#f0c890", "the tint colour")},
               [](const Args &a, IMG_BITMAP *s, IMG_BITMAP **d) {
                   return imgSepiaEx(s, d, a.Int("percent"), &a.Color("color"));
               })),
        // Reseeds the C library's generator: one noise call at a time.
        OneAtATime(Processing("noise", "Adds random noise (new draws every second)",
                   {ChoiceP("type", "uniform", "uniform=0|gaussian=1|laplacian=2|poisson=3", "distribution"),
                    RealP("amount", 30, 0.001, 10000, "strength (Poisson: events per unit value)")},
                   [](const Args &a, IMF_BITMAP *s, IMF_BITMAP *d) {
                       return imfNoise(s, d, nullptr, a.Real("amount"), static_cast<TWord>(a.Int("type")));
                   })),
    };
}

}  // namespace tool
}  // namespace imge
