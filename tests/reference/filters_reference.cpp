#include "reference/filters_reference.h"

#include <algorithm>
#include <functional>

namespace reference {
namespace {

// s(k, j) of byte c of pixel (x, y) for side n.
struct Hood {
    const IMF_BITMAP &b;
    int x, y, c, half;
    int operator()(int k, int j) const {
        const int r = std::min(std::max(y - half + k, 0), b.Height - 1);
        const int col = std::min(std::max(x - half + j, 0), b.Width - 1);
        return b.Data[static_cast<long long>(r) * b.BytesPerLine + static_cast<long long>(col) * b.BytesPerPixel + c];
    }
};

int Clamp(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

void ForEachByte(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n,
                 const std::function<int(const Hood &)> &f) {
    for (int y = rect.top; y < rect.top + rect.height; ++y)
        for (int x = rect.left; x < rect.left + rect.width; ++x)
            for (int c = 0; c < src.BytesPerPixel; ++c) {
                Hood h{src, x, y, c, n >> 1};
                target->Data[static_cast<long long>(y) * target->BytesPerLine +
                             static_cast<long long>(x) * src.BytesPerPixel + c] = static_cast<TUbyte>(f(h));
            }
}

const int kList[9][11] = {
    {0, -1, 0, -1, 10, -1, 0, -1, 0, 6, 0},   {-1, 0, -1, 0, 7, 0, -1, 0, -1, 3, 0},
    {0, -1, 0, -1, 5, -1, 0, -1, 0, 1, 0},    {1, -2, 1, -2, 5, -2, 1, -2, 1, 1, 0},
    {0, 1, 0, 1, -4, 1, 0, 1, 0, 1, 128},     {-1, -1, -1, -1, 8, -1, -1, -1, -1, 1, 128},
    {1, -2, 1, -2, 4, -2, 1, -2, 1, 1, 128},  {-1, 0, 0, 0, 0, 0, 0, 0, 1, 1, 128},
    {-1, -2, 0, -2, 0, 2, 0, 2, 1, 1, 128},
};

int S8(const Hood &s) {
    int sum = 0;
    for (int k = 0; k < 3; ++k)
        for (int j = 0; j < 3; ++j)
            if (k != 1 || j != 1) sum += s(k, j);
    return sum;
}

}  // namespace

void Convolve(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, const IMG_FILTER &f) {
    const int n = f.Size;
    ForEachByte(src, target, rect, n, [&](const Hood &s) {
        int sum = 0;
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j) sum += s(k, j) * f.Matrix[k * n + j];
        return Clamp(sum / f.Divisor + f.Bias);
    });
}

void ConvolveIndex(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int index) {
    const int *m = kList[index];
    ForEachByte(src, target, rect, 3, [&](const Hood &s) {
        int sum = 0;
        for (int k = 0; k < 3; ++k)
            for (int j = 0; j < 3; ++j) sum += s(k, j) * m[k * 3 + j];
        return Clamp(sum / m[9] + m[10]);
    });
}

void Sharpen(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int p) {
    const int d = p == 100 ? 1 : 100 - p;
    ForEachByte(src, target, rect, 3,
                [&](const Hood &s) { return Clamp((100 * s(1, 1) - (p * S8(s)) / 8) / d); });
}

void Blur(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int p) {
    const int t = ((100 - p) * 3175) / 100, w = t + 25;
    ForEachByte(src, target, rect, 3, [&](const Hood &s) {
        const int v = (200 * (s(0, 1) + s(1, 0) + s(1, 2) + s(2, 1)) +
                       100 * (s(0, 0) + s(0, 2) + s(2, 0) + s(2, 2)) + w * s(1, 1)) / (t + 1225);
        return v & 255;
    });
}

void Soften(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int p) {
    const int t = ((100 - p) * 3175) / 100, w = t + 25;
    ForEachByte(src, target, rect, 3, [&](const Hood &s) { return ((100 * S8(s) + w * s(1, 1)) / (t + 825)) & 255; });
}

void Average(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n) {
    ForEachByte(src, target, rect, n, [&](const Hood &s) {
        int sum = 0;
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j) sum += s(k, j);
        return sum / (n * n);
    });
}

void ReduceNoise(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect) {
    ForEachByte(src, target, rect, 5, [&](const Hood &s) {
        const int near = s(1, 2) + s(3, 2) + s(2, 1) + s(2, 3);
        const int far = s(0, 2) + s(4, 2) + s(2, 0) + s(2, 4);
        return Clamp((7 * s(2, 2) + 3 * near - far) / 15);
    });
}

void Edge(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int p) {
    const int t = ((100 - p) * 55) / 100;
    ForEachByte(src, target, rect, 3,
                [&](const Hood &s) { return Clamp(((t + 9) * s(1, 1) - S8(s)) / (t + 1)); });
}

}  // namespace reference
