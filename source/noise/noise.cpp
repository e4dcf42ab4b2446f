// Noise of four distributions added to every byte of the pixels in an area.
//
// The random source is the C library's generator, reseeded with srand(time)
// at the start of each call; draws are taken in pixel order, so two calls
// within the same second on equal input give equal output (draws.h says where
// they come from).
//
// Every draw is one of 32 768 values and every byte one of 256, so on larger
// areas the logarithms, roots, sines and cosines are looked up in tables built
// for the call; what remains is the very same double operations in the same
// order, so the bytes are those of the formulas evaluated one by one.
#include <cmath>
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <ctime>

#include "core/bitmap_check.h"
#include "core/scratch.h"
#include "core/separate_frame.h"
#include "libformat.h"
#include "libtools.h"
#include "noise/draws.h"
#include "noise/noise_rows.h"

namespace imge {
namespace noise {
namespace {

constexpr int kDrawValues = 32768;
// Below this many bytes the tables would cost more than they save.
constexpr long long kTableBytes = 1 << 16;

inline double Unit(unsigned draw) { return (draw & 0x7FFF) / 32767.0; }
// The first draw of a byte: 0 counts as 1.
inline double FirstUnit(unsigned draw) {
    const double u = Unit(draw);
    return u < 1e-10 ? 1.0 : u;
}
inline TUbyte ToByte(double value) {
    if (value < 0.0) return 0;
    if (value > 255.0) return 255;
    return static_cast<TUbyte>(value);
}

constexpr double kTwoPi = 6.283185307179586;

// One noisy byte, the formulas as they stand.
template <class Draws>
TUbyte Formula(TUbyte pixel, TWord type, double amount, Draws &d) {
    const double p = pixel;
    double alpha = FirstUnit(d.Next());
    switch (type) {
        case IMF_NoiseGaussian: {
            const double beta = Unit(d.Next());
            const double s = std::sqrt(-2.0 * std::log(alpha));
            const double sigma = s * std::cos(kTwoPi * beta);
            const double tau = s * std::sin(kTwoPi * beta);
            return ToByte(p + std::sqrt(p) * amount * sigma + 20.0 * tau);
        }
        case IMF_NoiseLaplacian:
            if (alpha <= 0.5) return ToByte(p + amount * std::log(2.0 * alpha));
            if (1.0 - alpha <= 1e-5) return ToByte(p + 255.0);
            return ToByte(p - amount * std::log(2.0 * (1.0 - alpha)));
        case IMF_NoisePoisson: {
            // amount > 0 is checked by the caller; the product shrinks below
            // e after a bounded number of draws (a draw of 0 ends it at once).
            const double e = std::exp(-amount * p);
            int i = 0;
            while (alpha > e) {
                alpha *= Unit(d.Next());
                ++i;
            }
            return ToByte(i / amount);
        }
        default:  // uniform, and any unknown type
            return ToByte(p + amount * (alpha - 0.5));
    }
}

// Runs `noisy(byte)` over the bytes of the rectangle in pixel order; the
// fourth byte of 4-byte pixels is copied.
template <class Fn>
void EachByte(const IMF_BITMAP *src, IMF_BITMAP *fresh, const IMF_RECT &r, Fn &&noisy) {
    const int bpp = src->BytesPerPixel;
    ForEachSeparateRow(src, fresh, r, [&](const TUbyte *in, TUbyte *out, TLong n) {
        if (bpp == 4) {
            for (TLong x = 0; x < n; ++x, in += 4, out += 4) {
                out[0] = noisy(in[0]);
                out[1] = noisy(in[1]);
                out[2] = noisy(in[2]);
                out[3] = in[3];
            }
        } else {
            const long long m = static_cast<long long>(n) * bpp;
            for (long long i = 0; i < m; ++i) out[i] = noisy(in[i]);
        }
    });
}

// The tables of one call. Each entry is computed by the same operations as
// the formula computes it; false when short of memory.
struct NoiseTables {
    Scratch<double> a, b;  // indexed by the draw's 15 bits
    double byte[256];      // indexed by the pixel byte

    bool Build(TWord type, double amount) {
        const bool two = type == IMF_NoiseGaussian || type == IMF_NoisePoisson;
        if (!a.Allocate(kDrawValues) || !b.Allocate(two ? 2 * kDrawValues : 1)) return false;
        for (int k = 0; k < kDrawValues; ++k) {
            const double alpha = FirstUnit(k), u = Unit(k);
            switch (type) {
                case IMF_NoiseGaussian:
                    a[k] = std::sqrt(-2.0 * std::log(alpha));
                    b[2 * k] = std::cos(kTwoPi * u);
                    b[2 * k + 1] = std::sin(kTwoPi * u);
                    break;
                case IMF_NoiseLaplacian:
                    // p - x and p + (-x) round alike, so one addition serves both branches.
                    a[k] = alpha <= 0.5 ? amount * std::log(2.0 * alpha)
                           : 1.0 - alpha <= 1e-5 ? 255.0 : -(amount * std::log(2.0 * (1.0 - alpha)));
                    break;
                case IMF_NoisePoisson:
                    a[k] = alpha;
                    b[k] = u;
                    break;
                default:
                    a[k] = amount * (alpha - 0.5);
                    break;
            }
        }
        for (int p = 0; p < 256; ++p)
            byte[p] = type == IMF_NoiseGaussian ? std::sqrt(static_cast<double>(p)) * amount
                      : type == IMF_NoisePoisson ? std::exp(-amount * p) : 0.0;
        return true;
    }
};

template <class Draws>
void AddNoise(const IMF_BITMAP *src, IMF_BITMAP *fresh, const IMF_RECT &r, double amount, TWord type, Draws &d) {
    const long long bytes = static_cast<long long>(r.width) * r.height * src->BytesPerPixel;
    NoiseTables t;
    if (bytes < kTableBytes || !t.Build(type, amount)) {
        EachByte(src, fresh, r, [&](TUbyte p) { return Formula(p, type, amount, d); });
        return;
    }
    const double *a = t.a.get(), *b = t.b.get(), *byte = t.byte;
    switch (type) {
        case IMF_NoiseGaussian:
            EachByte(src, fresh, r, [&](TUbyte p) {
                const double s = a[d.Next() & 0x7FFF];
                const double *cs = b + 2 * (d.Next() & 0x7FFF);
                return ToByte(p + byte[p] * (s * cs[0]) + 20.0 * (s * cs[1]));
            });
            break;
        case IMF_NoisePoisson:
            EachByte(src, fresh, r, [&](TUbyte p) {
                double alpha = a[d.Next() & 0x7FFF];
                const double e = byte[p];
                int i = 0;
                while (alpha > e) {
                    alpha *= b[d.Next() & 0x7FFF];
                    ++i;
                }
                return ToByte(i / amount);
            });
            break;
        default:  // uniform and Laplacian: the pixel plus a looked-up offset
            EachByte(src, fresh, r, [&](TUbyte p) { return ToByte(p + a[d.Next() & 0x7FFF]); });
            break;
    }
}

// Uniform and Laplacian noise add a looked-up double a to the byte p and
// truncate p + a held to 0..255. Where a's fraction f is 0, or at most
// 1 - 2^-40, p + a rounds to a double with the integer part p + floor(a) (the
// sums stay below 512, whose doubles are 2^-44 apart), so the byte is
// p + floor(a) held to 0..255; offsets beyond +-256 send every byte to 0 or
// 255 alike. False when some entry has a fraction closer to 1: the caller
// then adds the doubles.
bool IntegerOffsets(const double *a, int32_t *off) {
    for (int k = 0; k < kDrawValues; ++k) {
        if (a[k] >= 256.0) {
            off[k] = 256;
        } else if (a[k] <= -256.0) {
            off[k] = -256;
        } else {
            const double whole = std::floor(a[k]), f = a[k] - whole;
            if (!(f <= 1.0 - 0x1p-40)) return false;
            off[k] = static_cast<int32_t>(whole);
        }
    }
    return true;
}

// Poisson noise from a buffer of draws. The formula multiplies draws until
// the product falls to E = exp(-amount p) and counts them; the count is found
// here by adding the logarithms of the draws as integers (units of 2^-20),
// which adds without rounding. Each such logarithm is off by at most half a
// unit, log E alike, and the product's roundings move its logarithm by less
// than 2^-40 per factor, so as long as the sum is more than kMargin from log E
// after at most kMaxRun factors, it is on the same side as the product of the
// formula. Otherwise the byte's draws are read again and multiplied as the
// formula does. Where E is below 2^-1000 (the products might lose bits below
// the smallest normal double) the bytes are always multiplied.
class PoissonBytes {
public:
    PoissonBytes(FeedbackDraws &g, const NoiseTables &t, double amount) : g_(g), t_(t), amount_(amount) {}

    bool Build() {
        if (!buf_.Allocate(kCap) || !ln_.Allocate(kDrawValues)) return false;
        ln_[0] = -(1 << 30);  // a draw of 0 ends the product: far below any log E admitted
        for (int k = 1; k < kDrawValues; ++k) ln_[k] = static_cast<int32_t>(std::llround(std::log(t_.b[k]) * kUnit));
        for (int p = 0; p < 256; ++p) {
            sums_[p] = t_.byte[p] >= 0x1p-1000;
            thr_[p] = sums_[p] ? std::llround(std::log(t_.byte[p]) * kUnit) : 0;
        }
        return true;
    }

    TUbyte Byte(TUbyte p) {
        keep_ = pos_;
        const double e = t_.byte[p];
        const unsigned first = Draw();
        double alpha = t_.a[first];
        if (!(alpha > e)) return 0;
        int i = 0;
        if (sums_[p]) {
            const long long thr = thr_[p], above = thr + kMargin;
            const int32_t *ln = ln_.get();
            long long sum = first == 0 ? 0 : ln[first];
            for (;;) {  // in locals, which stay in registers
                const std::uint32_t *buf = buf_.get();
                const std::size_t to = std::min(end_, keep_ + 1 + kMaxRun);
                std::size_t pos = pos_;
                // The sums only fall: four draws at a time while the fourth
                // sum stays above, then one at a time.
                for (; pos + 4 <= to; pos += 4) {
                    const long long next = sum + ((static_cast<long long>(ln[buf[pos]]) + ln[buf[pos + 1]]) +
                                                  (static_cast<long long>(ln[buf[pos + 2]]) + ln[buf[pos + 3]]));
                    if (next <= above) break;
                    sum = next;
                }
                while (pos < to && sum > above) sum += ln[buf[pos++]];
                pos_ = pos;
                if (sum <= above || pos == keep_ + 1 + kMaxRun) break;
                Refill();
            }
            i = static_cast<int>(pos_ - keep_ - 1);
            if (sum < thr - kMargin && i < kMaxRun) return ToByte(i / amount_);
            pos_ = keep_ + 1;  // too close to tell: the formula's own products
            i = 0;
        }
        while (alpha > e) {
            alpha *= t_.b[Draw()];
            ++i;
        }
        return ToByte(i / amount_);
    }

private:
    static constexpr double kUnit = 1048576.0;
    static constexpr long long kMargin = 1024;
    static constexpr int kMaxRun = 1800;
    static constexpr std::size_t kCap = 1 << 14;

    unsigned Draw() {
        if (pos_ == end_) Refill();
        return buf_[pos_++];
    }
    // Keeps the current byte's draws (unless there are too many to read
    // again) and makes new ones behind them.
    void Refill() {
        if (end_ - keep_ > kCap / 2) keep_ = end_;
        std::memmove(buf_.get(), buf_.get() + keep_, (end_ - keep_) * sizeof(std::uint32_t));
        pos_ -= keep_;
        end_ -= keep_;
        keep_ = 0;
        g_.Fill(buf_.get() + end_, kCap - end_);
        end_ = kCap;
    }

    FeedbackDraws &g_;
    const NoiseTables &t_;
    const double amount_;
    Scratch<std::uint32_t> buf_;
    Scratch<int32_t> ln_;  // logarithm of each draw in units of 2^-20
    long long thr_[256];   // logarithm of E for each byte, same units
    bool sums_[256];       // whether the sums may decide
    std::size_t pos_ = 0, end_ = 0, keep_ = 0;
};

// Noise from the private generator on areas large enough for tables: a row's
// draws are made at once and the row computed by the vector rows
// (noise_rows.h); Poisson noise byte by byte (PoissonBytes). False, before
// any draw, when short of memory or when the offsets cannot be integers; the
// caller then draws byte by byte.
bool AddNoiseRows(const IMF_BITMAP *src, IMF_BITMAP *fresh, const IMF_RECT &r, double amount, TWord type,
                  FeedbackDraws &g) {
    const long long bytes = static_cast<long long>(r.width) * r.height * src->BytesPerPixel;
    NoiseTables t;
    if (bytes < kTableBytes || !t.Build(type, amount)) return false;
    if (type == IMF_NoisePoisson) {
        PoissonBytes poisson(g, t, amount);
        if (!poisson.Build()) return false;
        EachByte(src, fresh, r, [&](TUbyte p) { return poisson.Byte(p); });
        return true;
    }
    const bool gaussian = type == IMF_NoiseGaussian;
    Scratch<int32_t> off;
    if (!gaussian && (!off.Allocate(kDrawValues) || !IntegerOffsets(t.a.get(), off.get()))) return false;
    const int bpp = src->BytesPerPixel;
    // 4-byte pixels: the first three bytes are gathered into a packed row.
    const std::size_t m = static_cast<std::size_t>(r.width) * (bpp == 4 ? 3 : bpp);
    constexpr std::size_t kPiece = 2048;
    Scratch<std::uint32_t> draws;
    Scratch<TUbyte> packed;
    if (!draws.Allocate(2 * kPiece) || (bpp == 4 && !packed.Allocate(2 * m))) return false;
    ForEachSeparateRow(src, fresh, r, [&](const TUbyte *in, TUbyte *out, TLong n) {
        const TUbyte *row_in = in;
        TUbyte *row_out = out;
        if (bpp == 4) {
            row_in = packed.get();
            row_out = packed.get() + m;
            for (TLong x = 0; x < n; ++x) std::memcpy(packed.get() + 3 * x, in + 4 * x, 3);
        }
        // A piece of the row at a time, so that its draws stay in the first-level cache.
        for (std::size_t x = 0; x < m; x += kPiece) {
            const std::size_t len = std::min(kPiece, m - x);
            g.Fill(draws.get(), gaussian ? 2 * len : len);
            if (gaussian)
                GaussianRow(row_in + x, draws.get(), t.a.get(), t.b.get(), amount, len, row_out + x);
            else
                OffsetRow(row_in + x, draws.get(), off.get(), len, row_out + x);
        }
        if (bpp == 4)
            for (TLong x = 0; x < n; ++x) {
                std::memcpy(out + 4 * x, row_out + 3 * x, 3);
                out[4 * x + 3] = in[4 * x + 3];
            }
    });
    return true;
}

}  // namespace
}  // namespace noise
}  // namespace imge

extern "C" {

// Refused with IMF_ERRBADPARAMS before anything is allocated: an amount that
// is negative or not finite, and 0 for Poisson noise (which divides by it).
IMF_ERROR imfNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount, TWord type) {
    if (!imge::BitmapIsValid(src) || src->Type == IMF_BINARY) return IMF_ERRBADBITMAP;
    IMF_RECT r;
    if (imfGetClippingRect(src, area, &r)) return IMF_ERRBADPARAMS;
    if (!std::isfinite(amount) || amount < 0.0 || (type == IMF_NoisePoisson && amount == 0.0))
        return IMF_ERRBADPARAMS;
    IMF_BITMAP fresh;
    IMF_ERROR rc = imge::BeginSeparate(src, area, &fresh);
    if (rc != IMF_NOERROR) return rc;
    if (src->ColorMap && fresh.ColorMap) std::memcpy(fresh.ColorMap, src->ColorMap, sizeof(IMF_COLORMAP));
    const unsigned seed = static_cast<unsigned>(std::time(nullptr));
    if (imge::noise::FeedbackMatchesRand(seed)) {
        imge::noise::FeedbackDraws draws(seed);
        if (!imge::noise::AddNoiseRows(src, &fresh, r, amount, type, draws))
            imge::noise::AddNoise(src, &fresh, r, amount, type, draws);
    } else {
        imge::noise::RandDraws draws;
        imge::noise::AddNoise(src, &fresh, r, amount, type, draws);
    }
    imge::HandOver(src, dst, &fresh);
    return IMF_NOERROR;
}

IMF_ERROR imfAddUniformNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount) {
    return imfNoise(src, dst, area, amount, IMF_NoiseUniform);
}
IMF_ERROR imfAddGaussianNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount) {
    return imfNoise(src, dst, area, amount, IMF_NoiseGaussian);
}
IMF_ERROR imfAddLaplacianNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount) {
    return imfNoise(src, dst, area, amount, IMF_NoiseLaplacian);
}
IMF_ERROR imfAddPoissonNoise(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, double amount) {
    return imfNoise(src, dst, area, amount, IMF_NoisePoisson);
}

}  // extern "C"
