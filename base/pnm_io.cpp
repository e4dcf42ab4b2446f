// Binary PNM: P4 (bits), P5 (grey) and P6 (RGB), any maximum value from 1 to
// 65535 (scaled to 0..255 when it is not 255). P4 loads as grey 0/255.
// Grey bitmaps are written as P5, everything else as P6 (alpha dropped).
#include <cstdio>
#include <cstring>

#include "codec.h"

namespace imgbase {
namespace io {

namespace {

struct Reader {
    const uint8_t *data;
    size_t size;
    size_t pos = 2;

    void SkipSpace() {
        while (pos < size) {
            const char c = static_cast<char>(data[pos]);
            if (c == '#') {
                while (pos < size && data[pos] != '\n') ++pos;
            } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') {
                ++pos;
            } else {
                break;
            }
        }
    }
    // -1: no number; -2: too large.
    long Number() {
        SkipSpace();
        long v = 0;
        size_t digits = 0;
        while (pos < size && data[pos] >= '0' && data[pos] <= '9') {
            v = v * 10 + (data[pos++] - '0');
            if (v > 0x7FFFFFF) return -2;
            ++digits;
        }
        return digits ? v : -1;
    }
};

}  // namespace

IMG_ERROR DecodePnm(const uint8_t *data, size_t size, IMF_BITMAP *out, Message &msg) {
    const char kind = static_cast<char>(data[1]);
    if (kind != '4' && kind != '5' && kind != '6') {
        msg.Set("unsupported PNM variant P%c (only binary P4, P5 and P6 are read)", kind);
        return IMG_ERROR_UNKNOWN_FORMAT;
    }
    Reader r{data, size};
    const long w = r.Number(), h = r.Number(), maxval = kind == '4' ? 1 : r.Number();
    const char *bad = w == -2 || h == -2 ? "picture too large"
                      : w < 0 || h < 0 || maxval == -1 ? "no size in the header"
                      : w == 0 || h == 0 ? "empty picture"
                      : maxval < 1 || maxval > 65535 ? "maximum value outside 1..65535"
                      : r.pos >= size ? "truncated" : nullptr;
    if (bad) {
        msg.Set("bad PNM file: %s", bad);
        return IMG_ERROR_FILE_READ;
    }
    ++r.pos;  // the single white-space character before the samples
    const int channels = kind == '6' ? 3 : 1, sample = maxval > 255 ? 2 : 1;
    const unsigned long long row_bytes =
        kind == '4' ? (static_cast<unsigned long long>(w) + 7) / 8 : static_cast<unsigned long long>(w) * channels * sample;
    if (row_bytes * static_cast<unsigned long long>(h) > size - r.pos) {
        msg.Set("bad PNM file: truncated pixel data");
        return IMG_ERROR_FILE_READ;
    }
    if (!imfAllock(out, kind == '6' ? IMF_RGB : IMF_GREY, 1, w, h)) return IMG_ERROR_NO_MEMORY;
    const uint8_t *p = data + r.pos;
    for (long y = 0; y < h; ++y, p += row_bytes) {
        TUbyte *row = out->Data + static_cast<size_t>(y) * out->BytesPerLine;
        if (kind == '4') {
            for (long x = 0; x < w; ++x) row[x] = (p[x >> 3] >> (7 - (x & 7))) & 1 ? 0 : 255;
            continue;
        }
        const uint8_t *s = p;
        for (long i = 0; i < w * channels; ++i) {
            unsigned v = sample == 2 ? (s[0] << 8 | s[1]) : s[0];
            s += sample;
            if (maxval != 255) v = static_cast<unsigned>((v * 255u + maxval / 2) / maxval);
            row[i] = static_cast<TUbyte>(v > 255 ? 255 : v);
        }
    }
    return IMG_NO_ERROR;
}

IMG_ERROR EncodePnm(const IMF_BITMAP &b, Buffer *out, Message &) {
    const bool grey = b.Type == IMF_GREY;
    char header[64];
    const int n = std::snprintf(header, sizeof header, "%s\n%d %d\n255\n", grey ? "P5" : "P6",
                                static_cast<int>(b.Width), static_cast<int>(b.Height));
    if (!out->Append(header, static_cast<size_t>(n))) return IMG_ERROR_NO_MEMORY;
    for (TLong y = 0; y < b.Height; ++y) {
        const TUbyte *row = b.Data + static_cast<size_t>(y) * b.BytesPerLine;
        for (TLong x = 0; x < b.Width; ++x) {
            const TUbyte *px = row + static_cast<size_t>(b.BytesPerPixel) * x;
            uint8_t rgb[3];
            if (b.Type == IMF_COLORS) {
                rgb[0] = b.ColorMap->Red[*px];
                rgb[1] = b.ColorMap->Green[*px];
                rgb[2] = b.ColorMap->Blue[*px];
                px = rgb;
            }
            if (!out->Append(px, grey ? 1 : 3)) return IMG_ERROR_NO_MEMORY;
        }
    }
    return IMG_NO_ERROR;
}

}  // namespace io
}  // namespace imgbase
