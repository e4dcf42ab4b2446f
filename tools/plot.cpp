#include "plot.h"

#include <string>
#include <vector>

#include "font.h"
#include "libtools.h"
#include "op_table.h"

namespace imge {
namespace tool {

namespace {

// Two pixels a value: the plot area is 512 wide; counts are labelled left of it.
constexpr int kLeft = 64, kBar = 2, kPlotW = 256 * kBar, kRight = 16, kPlotH = 100;
constexpr int kTop = 2 * kGlyphH + 12, kHead = kGlyphH + 6, kFoot = kGlyphH + 10, kGap = 10;
constexpr int kPanelH = kHead + kPlotH + kFoot + kGap;

IMG_COLOR Rgb(int r, int g, int b) {
    return IMG_COLOR{static_cast<IMG_UINT16>(r), static_cast<IMG_UINT16>(g), static_cast<IMG_UINT16>(b), 255};
}

void Check(IMG_ERROR rc) {
    if (rc != IMG_NO_ERROR) throw ToolError{"histogram plot: drawing failed (" + ImgErrorText(rc) + ")"};
}

void Fill(IMG_BITMAP &b, int x, int y, int w, int h, const IMG_COLOR &c) {
    Check(imgDrawRectangleColor(&b, x, y, w, h, &c, 1, nullptr, 0, nullptr));
}

void Line(IMG_BITMAP &b, int x0, int y0, int x1, int y1, const IMG_COLOR &c) {
    Check(imgDrawLineColor(&b, x0, y0, x1, y1, 1, &c, 0, nullptr));
}

void Text(IMG_BITMAP &b, int x, int y, const std::string &s, const IMG_COLOR &c, int scale = 1) {
    const IMG_UINT8 rgb[3] = {static_cast<IMG_UINT8>(c.Red), static_cast<IMG_UINT8>(c.Green),
                              static_cast<IMG_UINT8>(c.Blue)};
    DrawText(b, x, y, s, rgb, scale);
}

}  // namespace

Image HistogramPlot(const IMG_BITMAP &src) {
    const bool true_colour = src.Type != IMG_GREY && src.Type != IMG_COLORS && src.Type != IMG_BINARY;
    Image rgb = true_colour ? nullptr : ToRgb(src);
    IMF_BITMAP view = ImfView(true_colour ? src : *rgb);
    std::vector<TUlong> h(4 * 256);
    imfCreateAllHistogram(&view, h.data());

    const int width = kLeft + kPlotW + kRight, height = kTop + 4 * kPanelH;
    Image plot = NewImage(IMG_RGB, width, height);
    const IMG_COLOR background = Rgb(34, 36, 40), area = Rgb(16, 17, 20), axis = Rgb(150, 154, 160),
                    label = Rgb(235, 235, 235), title = Rgb(255, 200, 90);
    const struct {
        const char *name;
        IMG_COLOR colour;
    } panels[4] = {{"luminance", Rgb(210, 210, 210)}, {"red", Rgb(235, 70, 60)},
                   {"green", Rgb(70, 200, 80)}, {"blue", Rgb(80, 130, 255)}};
    Fill(*plot, 0, 0, width, height, background);
    Text(*plot, kLeft, 6, "histogram of " + std::to_string(src.Width) + " x " + std::to_string(src.Height) + " pixels",
         title, 2);
    for (int k = 0; k < 4; ++k) {
        const TUlong *count = h.data() + 256 * k;
        TUlong most = 0;
        for (int v = 0; v < 256; ++v) most = count[v] > most ? count[v] : most;
        const int top = kTop + k * kPanelH, y0 = top + kHead, base = y0 + kPlotH;  // base: the row under the bars
        Text(*plot, kLeft, top, panels[k].name, panels[k].colour);
        Fill(*plot, kLeft, y0, kPlotW, kPlotH, area);
        for (int v = 0; v < 256 && most; ++v) {
            const int bar = static_cast<int>((static_cast<double>(count[v]) * kPlotH + most - 1) / most);
            if (bar) Fill(*plot, kLeft + kBar * v, base - bar, kBar, bar, panels[k].colour);
        }
        // Axes: the count (largest at the top) on the left, values 0..255 below.
        Line(*plot, kLeft - 1, y0, kLeft - 1, base, axis);
        Line(*plot, kLeft - 1, base, kLeft + kPlotW, base, axis);
        const std::string most_text = std::to_string(most);
        Text(*plot, kLeft - 4 - TextWidth(most_text), y0, most_text, label);
        Text(*plot, kLeft - 4 - TextWidth("0"), base - kGlyphH + 1, "0", label);
        for (int v : {0, 64, 128, 192, 255}) {
            const int x = kLeft + kBar * v + (v == 255 ? 1 : 0);
            Line(*plot, x, base, x, base + 3, axis);
            const std::string t = std::to_string(v);
            Text(*plot, x - TextWidth(t) / 2, base + 5, t, label);
        }
    }
    return plot;
}

}  // namespace tool
}  // namespace imge
