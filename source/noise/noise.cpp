// Noise of four distributions added to every byte of the pixels in an area.
//
// The random source is the C library's rand(), reseeded with srand(time)
// at the start of each call; draws are taken in pixel order, so two calls
// within the same second on equal input give equal output.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/bitmap_check.h"
#include "core/separate_frame.h"
#include "libformat.h"
#include "libtools.h"
#include "noise/noise.h"

namespace imge {

namespace {
inline double Draw() { return (std::rand() & 0x7FFF) / 32767.0; }
}  // namespace

TUbyte GetNoise(TUbyte pixel, TWord type, double amount) {
    const double p = pixel;
    double alpha = Draw();
    if (alpha < 1e-10) alpha = 1.0;
    double value;
    switch (type) {
        case IMF_NoiseGaussian: {
            const double beta = Draw();
            const double s = std::sqrt(-2.0 * std::log(alpha));
            const double sigma = s * std::cos(6.283185307179586 * beta);
            const double tau = s * std::sin(6.283185307179586 * beta);
            value = p + std::sqrt(p) * amount * sigma + 20.0 * tau;
            break;
        }
        case IMF_NoiseLaplacian:
            if (alpha <= 0.5) {
                value = p + amount * std::log(2.0 * alpha);
            } else {
                const double beta = 1.0 - alpha;
                value = beta <= 1e-5 ? p + 255.0 : p - amount * std::log(2.0 * beta);
            }
            break;
        case IMF_NoisePoisson: {
            const double e = std::exp(-amount * p);
            int i = 0;
            // amount > 0 is checked by the caller; the product shrinks below
            // e after a bounded number of draws (a draw of 0 ends it at once).
            while (alpha > e) {
                alpha *= Draw();
                ++i;
            }
            value = i / amount;
            break;
        }
        default:  // uniform, and any unknown type
            value = p + amount * (alpha - 0.5);
            break;
    }
    if (value < 0.0) return 0;
    if (value > 255.0) return 255;
    return static_cast<TUbyte>(value);
}

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
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    const int bpp = src->BytesPerPixel;
    imge::ForEachSeparateRow(src, &fresh, r, [&](const TUbyte *in, TUbyte *out, TLong n) {
        for (TLong x = 0; x < n; ++x, in += bpp, out += bpp) {
            if (bpp == 4) {
                out[0] = imge::GetNoise(in[0], type, amount);
                out[1] = imge::GetNoise(in[1], type, amount);
                out[2] = imge::GetNoise(in[2], type, amount);
                out[3] = in[3];
            } else {
                for (int k = 0; k < bpp; ++k) out[k] = imge::GetNoise(in[k], type, amount);
            }
        }
    });
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
