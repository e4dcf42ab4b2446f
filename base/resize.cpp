// Resampling: area averaging along a side that shrinks, bilinear along a
// side that grows, separable (rows first, then columns), per byte position.
// Binary and colour-mapped bitmaps are resampled by nearest neighbour, as
// palette indices and bits cannot be averaged.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "libtools.h"

namespace {

// Weights of source samples for each output sample along one axis, stored
// as a fixed number of taps per output (zero-padded).
struct Taps {
    int count = 0;          // taps per output sample
    int *first = nullptr;   // first source index per output sample
    float *w = nullptr;     // count weights per output sample
    ~Taps() { std::free(first); std::free(w); }
};

bool MakeTaps(int src_n, int dst_n, Taps *t) {
    const double scale = static_cast<double>(src_n) / dst_n;
    t->count = dst_n <= src_n ? static_cast<int>(std::ceil(scale)) + 1 : 2;
    t->first = static_cast<int *>(std::calloc(static_cast<std::size_t>(dst_n), sizeof(int)));
    t->w = static_cast<float *>(std::calloc(static_cast<std::size_t>(dst_n) * t->count, sizeof(float)));
    if (!t->first || !t->w) return false;
    for (int i = 0; i < dst_n; ++i) {
        float *w = t->w + static_cast<std::size_t>(i) * t->count;
        if (dst_n <= src_n) {  // area averaging over [i*scale, (i+1)*scale)
            double lo = i * scale, hi = (i + 1) * scale;
            int a = static_cast<int>(std::floor(lo));
            int b = static_cast<int>(std::ceil(hi));
            if (b > src_n) b = src_n;
            if (b - a > t->count) b = a + t->count;
            t->first[i] = a;
            for (int k = a; k < b; ++k)
                w[k - a] = static_cast<float>((std::fmin(hi, k + 1.0) - std::fmax(lo, static_cast<double>(k))) / scale);
        } else {  // bilinear between the two nearest centres
            double x = (i + 0.5) * scale - 0.5;
            if (x < 0) x = 0;
            int a = static_cast<int>(x);
            if (a >= src_n - 1) {
                t->first[i] = src_n - 1;
                w[0] = 1.0f;
                continue;
            }
            float f = static_cast<float>(x - a);
            t->first[i] = a;
            w[0] = 1.0f - f;
            w[1] = f;
        }
    }
    return true;
}

}  // namespace

extern "C" {

IMF_ERROR imfResize(const IMF_BITMAP *src, IMF_BITMAP *dst, TLong width, TLong height, TLong /*mode*/) {
    if (!src || !dst || !src->Data || width <= 0 || height <= 0 || src->Width <= 0 || src->Height <= 0)
        return IMF_ERRBADPARAMS;
    IMF_BITMAP out;
    if (!imfAllock(&out, src->Type, src->Pack, width, height)) return IMF_ERRMEMORY;
    if (src->ColorMap && out.ColorMap) std::memcpy(out.ColorMap, src->ColorMap, sizeof(IMF_COLORMAP));
    out.ColorUsed = src->ColorUsed;
    out.TransparentIndex = src->TransparentIndex;
    if (imfCopyExtendedData(&out, src) != IMF_NOERROR) {
        imfFree(&out);
        return IMF_ERRMEMORY;
    }
    const int sw = src->Width, sh = src->Height;
    if (src->Type == IMF_BINARY || src->Type == IMF_COLORS) {
        for (int y = 0; y < height; ++y) {
            int sy = static_cast<int>(static_cast<long long>(y) * sh / height);
            const TUbyte *s = src->Data + static_cast<long long>(sy) * src->BytesPerLine;
            TUbyte *d = out.Data + static_cast<long long>(y) * out.BytesPerLine;
            for (int x = 0; x < width; ++x) {
                int sx = static_cast<int>(static_cast<long long>(x) * sw / width);
                if (src->Type == IMF_BINARY)
                    imfCleanAndSetBitAtBuffer(d, x, imfGetBitAtBuffer(s, sx));
                else
                    d[x] = s[sx];
            }
        }
        *dst = out;
        return IMF_NOERROR;
    }
    const int bpp = src->BytesPerPixel;
    Taps tx, ty;
    const std::size_t row = static_cast<std::size_t>(width) * bpp;
    // Horizontal pass into a float image of sh rows x width pixels, then vertical.
    float *mid = static_cast<float *>(std::malloc(static_cast<std::size_t>(sh) * row * sizeof(float)));
    if (!mid || !MakeTaps(sw, width, &tx) || !MakeTaps(sh, height, &ty)) {
        std::free(mid);
        imfFree(&out);
        return IMF_ERRMEMORY;
    }
    for (int y = 0; y < sh; ++y) {
        const TUbyte *s = src->Data + static_cast<long long>(y) * src->BytesPerLine;
        float *m = mid + static_cast<std::size_t>(y) * row;
        for (int x = 0; x < width; ++x) {
            const float *w = tx.w + static_cast<std::size_t>(x) * tx.count;
            const int first = tx.first[x];
            for (int c = 0; c < bpp; ++c) {
                float acc = 0;
                for (int k = 0; k < tx.count && first + k < sw; ++k) acc += w[k] * s[(first + k) * bpp + c];
                m[x * bpp + c] = acc;
            }
        }
    }
    for (int y = 0; y < height; ++y) {
        const float *w = ty.w + static_cast<std::size_t>(y) * ty.count;
        const int first = ty.first[y];
        TUbyte *d = out.Data + static_cast<long long>(y) * out.BytesPerLine;
        for (std::size_t i = 0; i < row; ++i) {
            float acc = 0;
            for (int k = 0; k < ty.count && first + k < sh; ++k)
                acc += w[k] * mid[static_cast<std::size_t>(first + k) * row + i];
            int v = static_cast<int>(std::lround(acc));
            d[i] = static_cast<TUbyte>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    }
    std::free(mid);
    *dst = out;
    return IMF_NOERROR;
}

}  // extern "C"
