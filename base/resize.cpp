// Resampling, separable, per byte position: rows first, then columns, each
// pass rounded to bytes. Along a side that shrinks, a box of the scale's width
// (area averaging); along a side that grows, the Catmull-Rom cubic; a side
// that keeps its length is copied. Weights are those of the usual separable
// resampler (Pillow's, among others): the filter sampled at source pixel
// centres, cut at the picture's edges and normalised there, in 22-bit fixed
// point. Binary and colour-mapped bitmaps are resampled by nearest neighbour,
// as palette indices and bits cannot be averaged.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "libtools.h"
#include "pixel_types.h"

namespace {

constexpr int kBits = 22;  // fixed-point weights: 1.0 is 1 << 22
constexpr std::int32_t kHalf = 1 << (kBits - 1);

double Box(double x) { return x > -0.5 && x <= 0.5 ? 1.0 : 0.0; }
double CatmullRom(double x) {
    const double a = -0.5;
    x = std::fabs(x);
    if (x < 1.0) return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
    if (x < 2.0) return (((x - 5.0) * x + 8.0) * x - 4.0) * a;
    return 0.0;
}

inline std::uint8_t ToByte(std::int32_t ss) {
    const std::int32_t v = ss >> kBits;  // arithmetic shift: negative sums round down
    return static_cast<std::uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// Weights of the source samples for each output sample along one axis.
struct Taps {
    int stride = 0;                // weights stored per output sample
    int *first = nullptr;          // first source index per output sample
    int *count = nullptr;          // weights in use per output sample
    std::int32_t *w = nullptr;     // stride weights per output sample
    int equal = 0;                 // k when every output averages k samples from k * i on
    ~Taps() { std::free(first); std::free(count); std::free(w); }
};

bool MakeTaps(int in, int out, Taps *t) {
    const bool grow = out > in;
    const double scale = static_cast<double>(in) / out;
    const double filterscale = scale < 1.0 ? 1.0 : scale;
    const double support = (grow ? 2.0 : 0.5) * filterscale;
    const double ss = 1.0 / filterscale;
    t->stride = static_cast<int>(std::ceil(support)) * 2 + 1;
    t->first = static_cast<int *>(std::calloc(static_cast<std::size_t>(out), sizeof(int)));
    t->count = static_cast<int *>(std::calloc(static_cast<std::size_t>(out), sizeof(int)));
    t->w = static_cast<std::int32_t *>(
        std::calloc(static_cast<std::size_t>(out) * t->stride, sizeof(std::int32_t)));
    double *k = static_cast<double *>(std::malloc(static_cast<std::size_t>(t->stride) * sizeof(double)));
    if (!t->first || !t->count || !t->w || !k) {
        std::free(k);
        return false;
    }
    for (int i = 0; i < out; ++i) {
        const double centre = (i + 0.5) * scale;
        int lo = static_cast<int>(centre - support + 0.5);
        int hi = static_cast<int>(centre + support + 0.5);
        if (lo < 0) lo = 0;
        if (hi > in) hi = in;
        double sum = 0.0;
        for (int x = lo; x < hi; ++x) {
            const double arg = (x - centre + 0.5) * ss;
            k[x - lo] = grow ? CatmullRom(arg) : Box(arg);
            sum += k[x - lo];
        }
        std::int32_t *w = t->w + static_cast<std::size_t>(i) * t->stride;
        for (int x = 0; x < hi - lo; ++x) {
            const double v = (sum != 0.0 ? k[x] / sum : k[x]) * (1 << kBits);
            w[x] = static_cast<std::int32_t>(v < 0 ? v - 0.5 : v + 0.5);
        }
        t->first[i] = lo;
        t->count[i] = hi - lo;
    }
    std::free(k);
    // Shrinking by a whole factor: output i averages k samples from k * i on,
    // all with the same weight (the box falls exactly on pixel edges).
    if (!grow && in % out == 0) {
        const int f = in / out;
        bool equal = true;
        for (int i = 0; i < out && equal; ++i) {
            const std::int32_t *w = t->w + static_cast<std::size_t>(i) * t->stride;
            equal = t->first[i] == f * i && t->count[i] == f;
            for (int x = 0; x < f && equal; ++x) equal = w[x] == t->w[0];
        }
        if (equal) t->equal = f;
    }
    return true;
}

// One row through the horizontal taps: out has `width` pixels of BPP bytes.
// The two loops that take the time, in the widest vectors the machine has
// (chosen once when the library is loaded).
#define IMG_RESIZE_CLONES __attribute__((target_clones("avx2", "default")))

// sums[i] = s[i] + s[i + n] + ... + s[i + (f - 1) n] for i < len.
IMG_RESIZE_CLONES void SumShifted(const std::uint8_t *s, std::size_t len, int f, int n, std::uint16_t *sums) {
    for (std::size_t i = 0; i < len; ++i) sums[i] = s[i];
    for (int j = 1; j < f; ++j) {
        const std::uint8_t *sj = s + static_cast<std::size_t>(j) * n;
        for (std::size_t i = 0; i < len; ++i) sums[i] = static_cast<std::uint16_t>(sums[i] + sj[i]);
    }
}

// One output row from `count` rows of `len` bytes and their weights.
IMG_RESIZE_CLONES void ColumnPass(const std::uint8_t *const *rows, const std::int32_t *w, int count,
                                  std::size_t len, std::int32_t *acc, std::uint8_t *out) {
    for (std::size_t i = 0; i < len; ++i) acc[i] = kHalf;
    for (int k = 0; k < count; ++k) {
        const std::uint8_t *m = rows[k];
        const std::int32_t wk = w[k];
        for (std::size_t i = 0; i < len; ++i) acc[i] += m[i] * wk;
    }
    for (std::size_t i = 0; i < len; ++i) out[i] = ToByte(acc[i]);
}

// Whole factors up to this many samples sum a row at a time (RowPass's `sums`
// holds a source row's bytes as 16-bit numbers).
constexpr int kSumsUpTo = 8;

template <int BPP>
void RowPass(const std::uint8_t *s, const Taps &t, int width, int bpp, std::uint16_t *sums, std::uint8_t *out) {
    const int n = BPP ? BPP : bpp;
    if (t.equal && t.equal <= kSumsUpTo && sums) {
        // The sums of f samples at every byte position first, a whole row of
        // contiguous additions at a time; then every f-th pixel of them.
        const int f = t.equal;
        const std::size_t used = static_cast<std::size_t>(width) * f * n;
        SumShifted(s, used - static_cast<std::size_t>(f - 1) * n, f, n, sums);
        const std::int32_t w = t.w[0];
        const std::uint16_t *p = sums;
        for (int x = 0; x < width; ++x, p += f * n, out += n)
            for (int c = 0; c < n; ++c) out[c] = ToByte(kHalf + w * p[c]);
        return;
    }
    if (t.equal) {
        const int f = t.equal;
        const std::int32_t w = t.w[0];
        for (int x = 0; x < width; ++x, s += f * n, out += n)
            for (int c = 0; c < n; ++c) {
                std::int32_t sum = 0;
                for (int j = 0; j < f; ++j) sum += s[j * n + c];
                out[c] = ToByte(kHalf + w * sum);
            }
        return;
    }
    for (int x = 0; x < width; ++x, out += n) {
        const std::int32_t *w = t.w + static_cast<std::size_t>(x) * t.stride;
        const std::uint8_t *p = s + static_cast<std::size_t>(t.first[x]) * n;
        const int count = t.count[x];
        for (int c = 0; c < n; ++c) {
            std::int32_t ss = kHalf;
            for (int j = 0; j < count; ++j) ss += p[j * n + c] * w[j];
            out[c] = ToByte(ss);
        }
    }
}

}  // namespace

extern "C" {

IMF_ERROR imfResize(const IMF_BITMAP *src, IMF_BITMAP *dst, TLong width, TLong height, TLong /*mode*/) {
    if (!src || !dst || !src->Data || width <= 0 || height <= 0 || src->Width <= 0 || src->Height <= 0 ||
        !imge::records::RecordIsValid(src))
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
    if (!MakeTaps(sw, width, &tx) || !MakeTaps(sh, height, &ty)) {
        imfFree(&out);
        return IMF_ERRMEMORY;
    }
    // Rows first, then columns, an output row at a time: the source rows that
    // its column weights reach pass through the row weights into a ring of
    // rows (the reach only moves down, and never spans more than the ring).
    const int ring = ty.stride;
    std::uint8_t *mid = static_cast<std::uint8_t *>(std::malloc(static_cast<std::size_t>(ring) * row));
    std::int32_t *acc = static_cast<std::int32_t *>(std::malloc(row * sizeof(std::int32_t)));
    std::uint16_t *sums = static_cast<std::uint16_t *>(
        std::malloc(static_cast<std::size_t>(sw) * bpp * sizeof(std::uint16_t)));
    const std::uint8_t **rows = static_cast<const std::uint8_t **>(std::malloc(ring * sizeof(std::uint8_t *)));
    if (!mid || !acc || !sums || !rows) {
        std::free(mid);
        std::free(acc);
        std::free(sums);
        std::free(rows);
        imfFree(&out);
        return IMF_ERRMEMORY;
    }
    int done = ty.first[0];  // source rows below this one are in the ring
    for (int y = 0; y < height; ++y) {
        const int first = ty.first[y], count = ty.count[y];
        if (done < first) done = first;
        for (; done < first + count; ++done) {
            const TUbyte *s = src->Data + static_cast<long long>(done) * src->BytesPerLine;
            std::uint8_t *m = mid + static_cast<std::size_t>(done % ring) * row;
            switch (bpp) {
                case 1: RowPass<1>(s, tx, width, bpp, sums, m); break;
                case 3: RowPass<3>(s, tx, width, bpp, sums, m); break;
                case 4: RowPass<4>(s, tx, width, bpp, sums, m); break;
                default: RowPass<0>(s, tx, width, bpp, sums, m); break;
            }
        }
        for (int k = 0; k < count; ++k) rows[k] = mid + static_cast<std::size_t>((first + k) % ring) * row;
        ColumnPass(rows, ty.w + static_cast<std::size_t>(y) * ty.stride, count, row, acc,
                   out.Data + static_cast<long long>(y) * out.BytesPerLine);
    }
    std::free(acc);
    std::free(sums);
    std::free(rows);
    std::free(mid);
    *dst = out;
    return IMF_NOERROR;
}

}  // extern "C"
