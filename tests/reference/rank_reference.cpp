#include "reference/rank_reference.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "libformat.h"
#include "libtools.h"

namespace reference {
namespace {

int Clamp(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

// Byte c of the pixel at (x, y), coordinates clamped to the bitmap.
TUbyte Sample(const IMF_BITMAP &b, int x, int y, int c) {
    x = Clamp(x, 0, b.Width - 1);
    y = Clamp(y, 0, b.Height - 1);
    return b.Data[static_cast<long long>(y) * b.BytesPerLine + static_cast<long long>(x) * b.BytesPerPixel + c];
}

int CompPixel(const void *a, const void *b) {
    const TUbyte x = *static_cast<const TUbyte *>(a), y = *static_cast<const TUbyte *>(b);
    return x == y ? 0 : x > y ? 1 : -1;
}

}  // namespace

void RankFilter(Rank kind, const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n) {
    const int half = n >> 1;
    const int bpp = src.BytesPerPixel;
    TUbyte samples[225];
    for (int y = rect.top; y < rect.top + rect.height; ++y) {
        for (int x = rect.left; x < rect.left + rect.width; ++x) {
            for (int c = 0; c < bpp; ++c) {
                // s(k, j): slot k holds row y - half + k, column offset j - half.
                auto s = [&](int k, int j) { return Sample(src, x - half + j, y - half + k, c); };
                int out = 0;
                if (kind == Rank::kMinimum || kind == Rank::kMaximum) {
                    out = kind == Rank::kMinimum ? 255 : 0;
                    for (int k = 0; k < n; ++k)
                        for (int j = 0; j < n; ++j)
                            out = kind == Rank::kMinimum ? std::min(out, int(s(k, j))) : std::max(out, int(s(k, j)));
                } else if (kind == Rank::kMedianBox) {
                    int m = 0;
                    for (int k = 0; k < n; ++k)
                        for (int j = 0; j < n; ++j) samples[m++] = s(k, j);
                    std::qsort(samples, static_cast<std::size_t>(m), 1, CompPixel);
                    out = samples[(n * n) >> 1];
                } else {
                    int m = 0;
                    for (int k = 0; k < n; ++k)
                        if (k != half) samples[m++] = s(k, half);
                    for (int j = 0; j < n; ++j) samples[m++] = s(half, j);
                    std::qsort(samples, static_cast<std::size_t>(m), 1, CompPixel);
                    out = samples[n - 1];
                }
                target->Data[static_cast<long long>(y) * target->BytesPerLine +
                             static_cast<long long>(x) * bpp + c] = static_cast<TUbyte>(out);
            }
        }
    }
}

double GaussianKernel(int n, double *kernel) {
    const int half = n >> 1;
    const double L = std::log(1.0 / 255);
    const double sigma2 = -static_cast<double>(n) * n / (2 * L);
    const double sigma = std::sqrt(sigma2);
    const double D = sigma * (sigma + sigma);
    double sum = 0;
    for (int r = -half; r <= n - 1 - half; ++r) {
        for (int c = -half; c <= n - 1 - half; ++c) {
            const double d = std::sqrt(static_cast<double>(c * c + r * r));
            const double arg = (d * -d) / D;
            const double w = std::exp(arg);
            kernel[(r + half) * n + (c + half)] = w;
            sum = sum + w;
        }
    }
    return sum;
}

void GaussianBlur(const IMF_BITMAP &src, IMF_BITMAP *target, const IMF_RECT &rect, int n) {
    const int half = n >> 1;
    const int bpp = src.BytesPerPixel;
    std::vector<double> kernel(static_cast<std::size_t>(n) * n);
    const double sum = GaussianKernel(n, kernel.data());
    for (int y = rect.top; y < rect.top + rect.height; ++y) {
        for (int x = rect.left; x < rect.left + rect.width; ++x) {
            for (int c = 0; c < bpp; ++c) {
                long double acc = 0;
                for (int k = 0; k < n; ++k)
                    for (int j = 0; j < n; ++j)
                        acc += static_cast<long double>(Sample(src, x - half + j, y - half + k, c)) *
                               static_cast<long double>(kernel[k * n + j]);
                const long double q = acc / sum;
                target->Data[static_cast<long long>(y) * target->BytesPerLine +
                             static_cast<long long>(x) * bpp + c] = static_cast<TUbyte>(static_cast<int>(q));
            }
        }
    }
}

IMF_ERROR BlurGaussianOp(const IMF_BITMAP &src, const IMF_RECT *area, int n, IMF_BITMAP *out) {
    if (src.Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    if (n < 2 || n > 25) return IMF_ERRBADPARAMS;
    IMF_RECT rect;
    if (imfGetClippingRect(&src, area, &rect)) return IMF_ERRBADPARAMS;
    if (!imfAllockEx(out, src.Type, src.Pack, src.Width, src.Height, src.BitsPerComponent)) return IMF_ERRMEMORY;
    if (area) std::memcpy(out->Data, src.Data, static_cast<std::size_t>(out->Height) * out->BytesPerLine);
    out->TransparentIndex = -1;
    out->ColorUsed = src.ColorUsed;
    imfCopyExtendedData(out, &src);
    GaussianBlur(src, out, rect, n);
    if (src.ColorMap && out->ColorMap) std::memcpy(out->ColorMap, src.ColorMap, sizeof(IMF_COLORMAP));
    return IMF_NOERROR;
}

IMF_ERROR DropShadowOp(const IMF_BITMAP &src, int size, int depth, int keep_size, IMF_BITMAP *out) {
    if (src.Type == IMF_BINARY || src.BitsPerComponent > 8) return IMF_ERRBADBITMAP;
    if (size < 0 || depth < 0) return IMF_ERRBADPARAMS;
    if (src.Width < 64 || src.Height < 64) return imfCopy(&src, out, nullptr);
    const int margin = 5 * size + 2 * depth;
    IMF_BITMAP reduced;
    const IMF_BITMAP *base = &src;
    if (keep_size) {
        if (src.Width - margin < 1 || src.Height - margin < 1) return IMF_ERRBADPARAMS;
        if (imfResize(&src, &reduced, src.Width - margin, src.Height - margin, 0) != IMF_NOERROR) return IMF_ERRMEMORY;
        base = &reduced;
    }
    IMF_BITMAP &canvas = *out;
    if (!imfAllock(&canvas, base->Type, base->Pack, base->Width + margin, base->Height + margin)) {
        if (keep_size) imfFree(&reduced);
        return IMF_ERRMEMORY;
    }
    canvas.ColorUsed = base->ColorUsed;
    canvas.TransparentIndex = base->TransparentIndex;
    imfCopyExtendedData(&canvas, base);
    std::memset(canvas.Data, 255, static_cast<std::size_t>(canvas.Height) * canvas.BytesPerLine);

    IMF_BITMAP tile;
    imfAllock(&tile, IMF_GREY, 4, 64, 64);
    const int b = 2 * size;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            tile.Data[y * tile.BytesPerLine + x] =
                (y < b || y > 63 - b || x < b || x > 63 - b) ? 255 : 0;
    for (int i = 0; i < size; ++i) {
        IMF_BITMAP blurred;
        BlurGaussianOp(tile, nullptr, 7, &blurred);
        imfFree(&tile);
        tile = blurred;
    }

    const int ncomp = std::min<int>(canvas.BytesPerPixel, 3);
    const int offX = (canvas.Width - base->Width) / 2, offY = (canvas.Height - base->Height) / 2;
    const int Ws = base->Width + 4 * size, Hs = base->Height + 4 * size;
    const int x0 = offX + depth - 2 * size, y0 = offY + depth - 2 * size;
    for (int r = 0; r < Hs; ++r) {
        for (int c = 0; c < Ws; ++c) {
            const bool midc = c > 32 && c < Ws - 32, midr = r > 32 && r < Hs - 32;
            if (midc && midr) continue;
            const int tx = c <= 32 ? c : c >= Ws - 32 ? Ws - c : 32;
            const int ty = r <= 32 ? r : r >= Hs - 32 ? Hs - r : 32;
            const TUbyte v = tile.Data[ty * tile.BytesPerLine + tx];
            TUbyte *p = canvas.Data + static_cast<long long>(y0 + r) * canvas.BytesPerLine +
                        static_cast<long long>(x0 + c) * canvas.BytesPerPixel;
            for (int k = 0; k < ncomp; ++k) p[k] = v;
        }
    }
    for (int y = 0; y < base->Height; ++y)
        std::memcpy(canvas.Data + static_cast<long long>(offY + y) * canvas.BytesPerLine +
                        static_cast<long long>(offX) * canvas.BytesPerPixel,
                    base->Data + static_cast<long long>(y) * base->BytesPerLine,
                    static_cast<std::size_t>(base->Width) * base->BytesPerPixel);
    imfFree(&tile);
    if (keep_size) imfFree(&reduced);
    if (src.ColorMap && canvas.ColorMap) std::memcpy(canvas.ColorMap, src.ColorMap, sizeof(IMF_COLORMAP));
    return IMF_NOERROR;
}

}  // namespace reference
