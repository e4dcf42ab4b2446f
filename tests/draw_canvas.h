// Small grey canvases for the drawing tests: draw in white on black and read
// the result back as rows of '#' and '.', top row first.
#pragma once

#include <string>
#include <vector>

#include "libimg.h"
#include "libtools.h"

namespace draw_test {

struct Canvas {
    IMG_BITMAP *b;
    Canvas(int w, int h, IMG_ORIGIN origin = IMG_TOP_LEFT, IMG_BITMAP_TYPE type = IMG_GREY)
        : b(imgCreateBitmap(type, w, h)) {
        b->Origin = origin;
    }
    ~Canvas() { imgFreeBitmap(b); }
    Canvas(const Canvas &) = delete;
    Canvas &operator=(const Canvas &) = delete;

    // Picture rows, top first: '#' where the first byte of the pixel is non-zero.
    std::vector<std::string> Rows() const {
        std::vector<std::string> rows;
        for (int y = 0; y < b->Height; ++y) {
            int by = (b->Origin & IMG_BOTTOM) ? b->Height - 1 - y : y;
            std::string r;
            for (int x = 0; x < b->Width; ++x) r += b->Data[by * b->BytesPerLine + x * b->BytesPerPixel] ? '#' : '.';
            rows.push_back(r);
        }
        return rows;
    }
    int Count() const {
        int n = 0;
        for (auto &r : Rows())
            for (char c : r) n += c == '#';
        return n;
    }
};

inline const IMG_COLOR kWhite = {255, 255, 255, 255};
inline const IMG_UINT8 kWhiteBytes[4] = {255, 255, 255, 255};

}  // namespace draw_test
