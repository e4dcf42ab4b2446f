#include "sample.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace imge {
namespace tool {

namespace {

// Small deterministic generator (the picture must be the same everywhere).
struct Lcg {
    std::uint32_t s;
    std::uint32_t Next() {
        s = s * 1664525u + 1013904223u;
        return s >> 8;
    }
    double Unit() { return (Next() & 0xFFFF) / 65535.0; }
};

double Mix(double a, double b, double t) { return a + (b - a) * t; }

double Clamp(double v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

// Smooth value noise on a lattice of `cell` pixels.
double ValueNoise(int x, int y, int cell, std::uint32_t seed) {
    auto lattice = [seed](int i, int j) {
        std::uint32_t h = static_cast<std::uint32_t>(i) * 73856093u ^ static_cast<std::uint32_t>(j) * 19349663u ^ seed;
        h ^= h >> 13;
        h *= 0x5bd1e995u;
        h ^= h >> 15;
        return (h & 0xFFFF) / 65535.0;
    };
    const int i = x / cell, j = y / cell;
    const double fx = (x % cell) / static_cast<double>(cell), fy = (y % cell) / static_cast<double>(cell);
    const double sx = fx * fx * (3 - 2 * fx), sy = fy * fy * (3 - 2 * fy);
    return Mix(Mix(lattice(i, j), lattice(i + 1, j), sx), Mix(lattice(i, j + 1), lattice(i + 1, j + 1), sx), sy);
}

}  // namespace

Image MakeSamplePhoto(int w, int h) {
    Image img = NewImage(IMG_RGB, w, h);
    Lcg rng{12345};
    const double horizon = h * 0.55, sun_x = w * 0.72, sun_y = h * 0.28, sun_r = h * 0.09;
    for (int y = 0; y < h; ++y) {
        IMG_UINT8 *row = Row(*img, y);
        for (int x = 0; x < w; ++x) {
            double r, g, b;
            const double fx = x / static_cast<double>(w);
            // Sky: deep blue above, warm near the horizon, a glow round the sun.
            const double t = std::fmin(1.0, y / horizon);
            r = Mix(40, 250, t * t);
            g = Mix(80, 190, t);
            b = Mix(170, 150, t);
            const double dx = x - sun_x, dy = y - sun_y, d = std::sqrt(dx * dx + dy * dy);
            const double glow = std::exp(-d / (sun_r * 2.5));
            r = Mix(r, 255, glow * 0.8);
            g = Mix(g, 220, glow * 0.7);
            b = Mix(b, 150, glow * 0.4);
            if (d < sun_r) r = 255, g = 245, b = 200;
            // Far ridge, bluish; near ridge, dark green.
            const double far = horizon - h * (0.12 + 0.08 * std::sin(fx * 7.0 + 0.5) + 0.04 * std::sin(fx * 19.0));
            const double near = horizon - h * (0.03 + 0.05 * std::sin(fx * 4.0 + 2.0) + 0.015 * std::sin(fx * 31.0));
            if (y > far) {
                const double n = ValueNoise(x, y, 6, 7);
                r = 95 + 30 * n, g = 105 + 30 * n, b = 140 + 25 * n;
            }
            if (y > near) {
                const double n = ValueNoise(x, y, 4, 11);
                r = 40 + 35 * n, g = 85 + 45 * n, b = 45 + 20 * n;
            }
            // Meadow: lighter towards the viewer, with stripes of grass texture.
            if (y > horizon) {
                const double depth = (y - horizon) / (h - horizon);
                const double n = ValueNoise(x, y, 3, 23) * 0.6 + ValueNoise(x, y, 17, 29) * 0.4;
                r = 70 + 70 * depth * n + 30 * n;
                g = 120 + 80 * depth * n + 20 * n;
                b = 40 + 25 * n;
            }
            row[3 * x] = static_cast<IMG_UINT8>(Clamp(r));
            row[3 * x + 1] = static_cast<IMG_UINT8>(Clamp(g));
            row[3 * x + 2] = static_cast<IMG_UINT8>(Clamp(b));
        }
    }
    // A small house: white walls, red roof, a dark door and a window.
    auto fill = [&](int x0, int y0, int x1, int y1, int r, int g, int b) {
        for (int y = y0; y < y1 && y < h; ++y)
            for (int x = x0; x < x1 && x < w; ++x) {
                if (x < 0 || y < 0) continue;
                IMG_UINT8 *p = Row(*img, y) + 3 * x;
                p[0] = static_cast<IMG_UINT8>(r), p[1] = static_cast<IMG_UINT8>(g), p[2] = static_cast<IMG_UINT8>(b);
            }
    };
    const int hx = w * 22 / 100, hy = static_cast<int>(horizon) + h / 20, hw = w / 7, hh = h / 8;
    fill(hx, hy, hx + hw, hy + hh, 235, 230, 215);
    for (int k = 0; k < hh * 2 / 3; ++k) fill(hx - 4 + k * 3 / 2, hy - k, hx + hw + 4 - k * 3 / 2, hy - k + 1, 180, 40, 30);
    fill(hx + hw / 6, hy + hh / 3, hx + hw / 6 + hw / 5, hy + hh, 70, 45, 30);
    fill(hx + hw / 2, hy + hh / 4, hx + hw / 2 + hw / 3, hy + hh / 2 + 2, 90, 140, 200);
    // Flowers in the meadow.
    static const int kFlower[4][3] = {{230, 60, 70}, {250, 220, 60}, {240, 240, 250}, {170, 90, 200}};
    for (int k = 0; k < w * h / 600; ++k) {
        const int x = static_cast<int>(rng.Next() % static_cast<std::uint32_t>(w));
        const int y = static_cast<int>(horizon) + h / 10 + static_cast<int>(rng.Next() % static_cast<std::uint32_t>(h - horizon - h / 10));
        const int *c = kFlower[rng.Next() % 4];
        const int s = 1 + (y - static_cast<int>(horizon)) / (h / 6);
        fill(x, y, x + s, y + s, c[0], c[1], c[2]);
    }
    // Grain.
    for (int y = 0; y < h; ++y) {
        IMG_UINT8 *row = Row(*img, y);
        for (int i = 0; i < 3 * w; ++i) row[i] = static_cast<IMG_UINT8>(Clamp(row[i] + (rng.Unit() - 0.5) * 10));
    }
    return img;
}

namespace {

void Put16(Bytes &b, unsigned v) {
    b.push_back(static_cast<std::uint8_t>(v & 0xFF));
    b.push_back(static_cast<std::uint8_t>(v >> 8));
}

void Put32(Bytes &b, std::uint32_t v) {
    Put16(b, v & 0xFFFF);
    Put16(b, v >> 16);
}

void Entry(Bytes &b, unsigned tag, unsigned type, std::uint32_t count, std::uint32_t value) {
    Put16(b, tag);
    Put16(b, type);
    Put32(b, count);
    if (type == 3 && count == 1) {
        Put16(b, value);
        Put16(b, 0);
    } else {
        Put32(b, value);
    }
}

}  // namespace

Bytes MakeExifBlock(int orientation, const Bytes &thumbnail, int thumb_w, int thumb_h) {
    // Offsets count from the TIFF header. Layout: header (8), IFD0 with one
    // entry (2 + 12 + 4), IFD1 with six entries (2 + 72 + 4), thumbnail.
    Bytes t = {'I', 'I', 42, 0};
    Put32(t, 8);
    const std::uint32_t ifd1 = 8 + 2 + 12 + 4;
    Put16(t, 1);
    Entry(t, 0x0112, 3, 1, static_cast<std::uint32_t>(orientation));  // Orientation
    Put32(t, ifd1);
    const std::uint32_t thumb_at = ifd1 + 2 + 6 * 12 + 4;
    Put16(t, 6);
    Entry(t, 0x0100, 3, 1, static_cast<std::uint32_t>(thumb_w));  // ImageWidth
    Entry(t, 0x0101, 3, 1, static_cast<std::uint32_t>(thumb_h));  // ImageLength
    Entry(t, 0x0103, 3, 1, 6);                                      // Compression: JPEG
    Entry(t, 0x0112, 3, 1, static_cast<std::uint32_t>(orientation));
    Entry(t, 0x0201, 4, 1, thumb_at);                                // JPEGInterchangeFormat
    Entry(t, 0x0202, 4, 1, static_cast<std::uint32_t>(thumbnail.size()));
    Put32(t, 0);
    const size_t head = t.size();
    t.resize(head + thumbnail.size());
    if (!thumbnail.empty()) std::memcpy(t.data() + head, thumbnail.data(), thumbnail.size());
    Bytes app1(6 + t.size());
    std::memcpy(app1.data(), "Exif\0", 6);
    std::memcpy(app1.data() + 6, t.data(), t.size());
    return app1;
}

}  // namespace tool
}  // namespace imge
