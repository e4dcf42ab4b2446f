#include "sheet.h"

#include <algorithm>
#include <cstring>

#include "font.h"
#include "libtools.h"

namespace imge {
namespace tool {

namespace {

constexpr int kThumbW = 200, kThumbH = 150, kColumns = 4, kGap = 12, kLabelH = 2 * kGlyphH + 6;
constexpr int kTitleH = 2 * kGlyphH + 2 * kGap;

void FillRect(IMG_BITMAP &rgb, int x0, int y0, int w, int h, const IMG_UINT8 c[3]) {
    for (int y = std::max(0, y0); y < std::min(rgb.Height, y0 + h); ++y)
        for (int x = std::max(0, x0); x < std::min(rgb.Width, x0 + w); ++x) {
            IMG_UINT8 *p = Row(rgb, y) + 3 * x;
            p[0] = c[0], p[1] = c[1], p[2] = c[2];
        }
}

// RGB for the thumbnail: alpha is shown over a light checkerboard.
Image Flatten(const IMG_BITMAP &b) {
    Image canon = ToCanonical(b);
    if (canon->Type == IMG_RGB) return canon;
    Image rgb = NewImage(IMG_RGB, canon->Width, canon->Height);
    const bool grey = canon->Type == IMG_GREY;
    for (int y = 0; y < canon->Height; ++y)
        for (int x = 0; x < canon->Width; ++x) {
            IMG_UINT8 *d = Row(*rgb, y) + 3 * x;
            if (grey) {
                d[0] = d[1] = d[2] = Row(*canon, y)[x];
                continue;
            }
            const IMG_UINT8 *s = Row(*canon, y) + 4 * x;
            const int back = ((x / 8 + y / 8) & 1) ? 200 : 240;
            for (int c = 0; c < 3; ++c) d[c] = static_cast<IMG_UINT8>((s[c] * s[3] + back * (255 - s[3]) + 127) / 255);
        }
    return rgb;
}

Image Thumbnail(const IMG_BITMAP &b) {
    Image rgb = Flatten(b);
    const double scale = std::min(static_cast<double>(kThumbW) / rgb->Width, static_cast<double>(kThumbH) / rgb->Height);
    const int w = std::max(1, static_cast<int>(rgb->Width * scale + 0.5));
    const int h = std::max(1, static_cast<int>(rgb->Height * scale + 0.5));
    IMF_BITMAP view = ImfView(*rgb), out;
    std::memset(&out, 0, sizeof out);
    if (imfResize(&view, &out, w, h, 0) != IMF_NOERROR) throw ToolError{"cannot make a thumbnail"};
    return AdoptImf(out);
}

std::string Fit(const std::string &s, int width) {
    const size_t n = static_cast<size_t>(width / kGlyphW);
    return s.size() <= n ? s : s.substr(0, n - 2) + "..";
}

}  // namespace

Image MakeContactSheet(const std::vector<SheetCell> &cells, const std::string &title) {
    const int rows = static_cast<int>((cells.size() + kColumns - 1) / kColumns);
    const int cell_w = kThumbW + kGap, cell_h = kThumbH + kLabelH + kGap;
    const int width = kGap + kColumns * cell_w, height = kTitleH + rows * cell_h + kGap;
    Image sheet = NewImage(IMG_RGB, width, height);
    const IMG_UINT8 background[3] = {34, 36, 40}, frame[3] = {70, 74, 82}, label[3] = {235, 235, 235},
                    note[3] = {160, 200, 255}, title_c[3] = {255, 200, 90};
    FillRect(*sheet, 0, 0, width, height, background);
    DrawText(*sheet, kGap, kGap, title, title_c, 2);
    for (size_t i = 0; i < cells.size(); ++i) {
        const int x0 = kGap + static_cast<int>(i % kColumns) * cell_w;
        const int y0 = kTitleH + static_cast<int>(i / kColumns) * cell_h;
        FillRect(*sheet, x0 - 1, y0 - 1, kThumbW + 2, kThumbH + 2, frame);
        FillRect(*sheet, x0, y0, kThumbW, kThumbH, background);
        if (cells[i].picture) {
            Image t = Thumbnail(*cells[i].picture);
            const int tx = x0 + (kThumbW - t->Width) / 2, ty = y0 + (kThumbH - t->Height) / 2;
            for (int y = 0; y < t->Height; ++y) std::memcpy(Row(*sheet, ty + y) + 3 * tx, Row(*t, y), 3 * static_cast<size_t>(t->Width));
        }
        DrawText(*sheet, x0, y0 + kThumbH + 4, Fit(cells[i].label, kThumbW), label);
        if (!cells[i].note.empty()) {
            if (cells[i].picture)
                DrawText(*sheet, x0, y0 + kThumbH + 4 + kGlyphH + 1, Fit(cells[i].note, kThumbW), note);
            else
                DrawText(*sheet, x0 + 6, y0 + kThumbH / 2 - kGlyphH / 2, Fit(cells[i].note, kThumbW - 12), note);
        }
    }
    return sheet;
}

}  // namespace tool
}  // namespace imge
