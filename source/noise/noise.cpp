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
#include <cstring>
#include <ctime>

#include "core/bitmap_check.h"
#include "core/scratch.h"
#include "core/separate_frame.h"
#include "libformat.h"
#include "libtools.h"
#include "noise/draws.h"

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
