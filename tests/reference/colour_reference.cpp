#include "reference/colour_reference.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace reference {

namespace {

TUbyte *Pixel(IMF_BITMAP *b, long x, long y) {
    return b->Data + y * static_cast<long>(b->BytesPerLine) + x * b->BytesPerPixel;
}
const TUbyte *Pixel(const IMF_BITMAP &b, long x, long y) {
    return b.Data + y * static_cast<long>(b.BytesPerLine) + x * b.BytesPerPixel;
}

}  // namespace

void SwapColors(const IMF_BITMAP &src, IMF_BITMAP *t, const IMF_RECT &r, unsigned mode) {
    if (src.Type == IMF_BGR || src.Type == IMF_ABGR || src.Type == IMF_BGRA) {
        if (mode == 0) mode = 3;
        else if (mode == 3) mode = 0;
    }
    if (src.Type == IMF_COLORS) {
        for (int i = 0; i < src.ColorUsed && i < 256; ++i) {
            const TUbyte R = src.ColorMap->Red[i], G = src.ColorMap->Green[i], B = src.ColorMap->Blue[i];
            TUbyte *nr = &t->ColorMap->Red[i], *ng = &t->ColorMap->Green[i], *nb = &t->ColorMap->Blue[i];
            switch (mode) {
                case 0: *nr = R; *ng = B; *nb = G; break;
                case 1: *nr = B; *ng = G; *nb = R; break;
                case 2: *nr = G; *ng = B; *nb = R; break;
                case 3: *nr = G; *ng = R; *nb = B; break;
                case 4: *nr = B; *ng = R; *nb = G; break;
            }
        }
        return;
    }
    if (src.BytesPerPixel < 3) return;
    for (long y = r.top; y < r.top + r.height; ++y)
        for (long x = r.left; x < r.left + r.width; ++x) {
            const TUbyte *in = Pixel(src, x, y);
            TUbyte *out = Pixel(t, x, y);
            const TUbyte i0 = in[0], i1 = in[1], i2 = in[2];
            switch (mode) {
                case 0: out[0] = i0; out[1] = i2; out[2] = i1; break;
                case 1: out[0] = i2; out[1] = i1; out[2] = i0; break;
                case 2: out[0] = i1; out[1] = i2; out[2] = i0; break;
                case 3: out[0] = i1; out[1] = i0; out[2] = i2; break;
                case 4: out[0] = i2; out[1] = i0; out[2] = i1; break;
            }
        }
}

void ShadowHighlight(IMF_BITMAP *t, const IMF_RECT &r, long shadow, long highlight) {
    const long long s = (static_cast<long long>(shadow) * 30) / 100, h = highlight / 2;
    const long long dS = 255 - 2 * s, dH = 255 - 2 * h;
    auto clamp = [](long long v) { return static_cast<TUbyte>(v > 255 ? 255 : v < 0 ? 0 : v); };
    auto dark = [&](int c) { return clamp(((c - s) * 255) / dS); };
    auto bright = [&](int c) { return clamp(((c - h) * 255) / dH); };
    for (long y = r.top; y < r.top + r.height; ++y)
        for (long x = r.left; x < r.left + r.width; ++x) {
            TUbyte *p = Pixel(t, x, y);
            if (t->BytesPerPixel < 3) {
                for (int k = 0; k < t->BytesPerPixel; ++k)
                    p[k] = p[k] <= 79 ? dark(p[k]) : p[k] >= 177 ? bright(p[k]) : p[k];
                continue;
            }
            const int L = (77 * p[0] + 150 * p[1] + 29 * p[2]) >> 8;
            for (int k = 0; k < 3; ++k) p[k] = L <= 79 ? dark(p[k]) : L >= 177 ? bright(p[k]) : p[k];
        }
}

std::vector<TUbyte> ExtractChannel(const IMF_BITMAP &src, long channel) {
    std::vector<TUbyte> out;
    const int c = channel >= 0 && channel <= 3 ? static_cast<int>(channel) : 0;
    static const int kTable[6][4] = {{0, 1, 2, 3}, {2, 1, 0, 0}, {3, 2, 1, 0},
                                     {2, 1, 0, 3}, {1, 2, 3, 0}, {0, 1, 2, 0}};
    const int row = src.Type == IMF_RGBA ? 0 : src.Type == IMF_BGR ? 1 : src.Type == IMF_ABGR ? 2
                    : src.Type == IMF_BGRA ? 3 : src.Type == IMF_ARGB ? 4 : 5;
    const int pos = kTable[row][c];
    for (long y = 0; y < src.Height; ++y)
        for (long x = 0; x < src.Width; ++x) {
            const TUbyte *p = Pixel(src, x, y);
            if (src.Type == IMF_COLORS)
                out.push_back(channel == 1 ? src.ColorMap->Green[*p]
                              : channel == 2 ? src.ColorMap->Blue[*p] : src.ColorMap->Red[*p]);
            else
                out.push_back(p[pos]);
        }
    return out;
}

namespace {

struct HashSet {
    std::vector<TUbyte> slots;  // 4 bytes per slot: mark, c0, c1, c2
    unsigned count = 0, capacity = 4096, threshold = 819, k = 4;
    unsigned Home(int c0, int c1, int c2) const {
        unsigned i = ((c0 >> (8 - k)) << (2 * k)) | ((c1 >> (8 - k)) << k) | (c2 >> (8 - k));
        return i & (capacity - 1);
    }
    void Put(int c0, int c1, int c2) {
        unsigned i = Home(c0, c1, c2);
        while (slots[4 * i]) i = (i + 1) % capacity;
        slots[4 * i] = 1;
        slots[4 * i + 1] = static_cast<TUbyte>(c0);
        slots[4 * i + 2] = static_cast<TUbyte>(c1);
        slots[4 * i + 3] = static_cast<TUbyte>(c2);
    }
};

}  // namespace

// Colours past 3355443 need a growth the hash cannot express; this
// reference stops growing at k = 8 (where the home slot is the colour) and
// then simply fills the 2^24 slots.
TUlong CountColors(const IMF_BITMAP &b, long limit) {
    if (b.Type == IMF_BINARY) return 2;
    if (b.BytesPerPixel == 1) {
        long counts[256] = {0};
        for (long y = 0; y < b.Height; ++y)
            for (long x = 0; x < b.Width; ++x) ++counts[*Pixel(b, x, y)];
        if (b.Type == IMF_COLORS && b.ColorUsed > 0) {
            const int n = b.ColorUsed > 256 ? 256 : b.ColorUsed;
            for (int i = 0; i <= n - 2; ++i)
                for (int j = i + 1; j <= n - 1; ++j)
                    if (counts[j] != 0 && b.ColorMap->Red[j] == b.ColorMap->Red[i] &&
                        b.ColorMap->Green[j] == b.ColorMap->Green[i] && b.ColorMap->Blue[j] == b.ColorMap->Blue[i]) {
                        counts[i] += counts[j];
                        counts[j] = 0;
                    }
        }
        qsort(counts, 256, sizeof(long), [](const void *a, const void *c) {
            const long x = *static_cast<const long *>(a), y = *static_cast<const long *>(c);
            return x > y ? -1 : x < y ? 1 : 0;
        });
        TUlong n = 0;
        while (n < 256 && counts[n] != 0) ++n;
        return n;
    }
    HashSet set;
    set.slots.assign(4 * set.capacity, 0);
    for (long y = 0; y < b.Height; ++y)
        for (long x = 0; x < b.Width; ++x) {
            const TUbyte *p = Pixel(b, x, y);
            unsigned i = set.Home(p[0], p[1], p[2]);
            bool known = false;
            while (set.slots[4 * i]) {
                if (set.slots[4 * i + 1] == p[0] && set.slots[4 * i + 2] == p[1] && set.slots[4 * i + 3] == p[2]) {
                    known = true;
                    break;
                }
                i = (i + 1) % set.capacity;
            }
            if (!known) {
                if (set.count >= set.threshold && set.k < 8) {
                    HashSet grown;
                    grown.k = set.k + 1;
                    grown.capacity = 1u << (3 * grown.k);
                    grown.threshold = grown.capacity * 20 / 100;
                    grown.count = set.count;
                    grown.slots.assign(4 * std::size_t{grown.capacity}, 0);
                    for (unsigned s = 0; s < set.capacity; ++s)
                        if (set.slots[4 * s]) grown.Put(set.slots[4 * s + 1], set.slots[4 * s + 2], set.slots[4 * s + 3]);
                    set = std::move(grown);
                }
                set.Put(p[0], p[1], p[2]);
                ++set.count;
            }
            if (limit > 0 && set.count > static_cast<TUlong>(limit)) return set.count;
        }
    return set.count;
}

TUbyte GetNoise(TUbyte pixel, int type, double amount) {
    auto u = [] { return (rand() & 0x7FFF) / 32767.0; };
    const double p = pixel;
    double alpha = u(), value;
    if (alpha < 1e-10) alpha = 1.0;
    if (type == 1) {
        const double beta = u();
        const double s = std::sqrt(-2 * std::log(alpha));
        value = p + std::sqrt(p) * amount * (s * std::cos(6.283185307179586 * beta)) +
                20.0 * (s * std::sin(6.283185307179586 * beta));
    } else if (type == 2) {
        if (alpha <= 0.5) {
            value = p + amount * std::log(2 * alpha);
        } else {
            const double beta = 1 - alpha;
            value = beta <= 1e-5 ? p + 255 : p - amount * std::log(2 * beta);
        }
    } else if (type == 3) {
        const double E = std::exp(-amount * p);
        int i = 0;
        while (alpha > E) {
            alpha = alpha * u();
            i = i + 1;
        }
        value = i / amount;
    } else {
        value = p + amount * (alpha - 0.5);
    }
    if (value < 0) return 0;
    if (value > 255) return 255;
    return static_cast<TUbyte>(value);
}

void Noise(const IMF_BITMAP &src, IMF_BITMAP *t, const IMF_RECT &r, double amount, int type) {
    for (long y = r.top; y < r.top + r.height; ++y)
        for (long x = r.left; x < r.left + r.width; ++x) {
            const TUbyte *in = Pixel(src, x, y);
            TUbyte *out = Pixel(t, x, y);
            const int n = src.BytesPerPixel == 4 ? 3 : src.BytesPerPixel;
            for (int k = 0; k < n; ++k) out[k] = GetNoise(in[k], type, amount);
        }
}

}  // namespace reference
