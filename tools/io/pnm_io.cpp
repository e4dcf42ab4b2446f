// Binary PNM: P5 (grey) and P6 (RGB), any maxval from 1 to 65535 (scaled to
// 0..255 when it is not 255). Grey bitmaps are written as P5, everything
// else as P6 (alpha dropped).
#include <cstring>
#include <string>

#include "image_io.h"

namespace tool {

namespace {

struct Reader {
    const Bytes &data;
    size_t pos = 2;

    void SkipSpace() {
        while (pos < data.size()) {
            const char c = static_cast<char>(data[pos]);
            if (c == '#') {
                while (pos < data.size() && data[pos] != '\n') ++pos;
            } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') {
                ++pos;
            } else {
                break;
            }
        }
    }
    long Number(const char *what) {
        SkipSpace();
        long v = 0;
        size_t digits = 0;
        while (pos < data.size() && data[pos] >= '0' && data[pos] <= '9') {
            v = v * 10 + (data[pos++] - '0');
            if (v > 0x7FFFFFF) throw ToolError{std::string("bad PNM file: ") + what + " too large"};
            ++digits;
        }
        if (!digits) throw ToolError{std::string("bad PNM file: no ") + what + " in the header"};
        return v;
    }
};

}  // namespace

Image DecodePnm(const Bytes &data) {
    const char kind = static_cast<char>(data[1]);
    if (kind != '5' && kind != '6')
        throw ToolError{std::string("unsupported PNM variant P") + kind + " (only binary P5 and P6 are read)"};
    Reader r{data};
    const long w = r.Number("width"), h = r.Number("height"), maxval = r.Number("maximum value");
    if (w < 1 || h < 1) throw ToolError{"bad PNM file: empty picture"};
    if (maxval < 1 || maxval > 65535) throw ToolError{"bad PNM file: maximum value outside 1..65535"};
    if (r.pos >= data.size()) throw ToolError{"bad PNM file: truncated"};
    ++r.pos;  // the single white-space character before the samples
    const int channels = kind == '5' ? 1 : 3, sample = maxval > 255 ? 2 : 1;
    const unsigned long long need = static_cast<unsigned long long>(w) * h * channels * sample;
    if (need > data.size() - r.pos) throw ToolError{"bad PNM file: truncated pixel data"};
    Image out = NewImage(kind == '5' ? IMG_GREY : IMG_RGB, static_cast<int>(w), static_cast<int>(h));
    const std::uint8_t *p = data.data() + r.pos;
    for (long y = 0; y < h; ++y) {
        IMG_UINT8 *row = Row(*out, static_cast<int>(y));
        for (long i = 0; i < w * channels; ++i) {
            unsigned v = sample == 2 ? (p[0] << 8 | p[1]) : p[0];
            p += sample;
            if (maxval != 255) v = static_cast<unsigned>((v * 255u + maxval / 2) / maxval);
            row[i] = static_cast<IMG_UINT8>(v > 255 ? 255 : v);
        }
    }
    return out;
}

Bytes EncodePnm(const IMG_BITMAP &src) {
    Image conv;
    const IMG_BITMAP *b = &src;
    if (src.Type != IMG_GREY && src.Type != IMG_RGB) {
        conv = ToCanonical(src);
        b = conv.get();
    }
    const bool grey = b->Type == IMG_GREY;
    const std::string header = std::string(grey ? "P5\n" : "P6\n") + std::to_string(b->Width) + " " +
                               std::to_string(b->Height) + "\n255\n";
    Bytes out(header.begin(), header.end());
    const int bpp = b->BytesPerPixel;
    out.reserve(out.size() + static_cast<size_t>(b->Width) * b->Height * (grey ? 1 : 3));
    for (int y = 0; y < b->Height; ++y) {
        const IMG_UINT8 *row = Row(*b, y);
        for (int x = 0; x < b->Width; ++x) {
            const IMG_UINT8 *px = row + bpp * x;
            out.insert(out.end(), px, px + (grey ? 1 : 3));
        }
    }
    return out;
}

}  // namespace tool
