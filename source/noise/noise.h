// One noisy byte: the per-byte step of imfNoise.
#pragma once

#include "libimg.h"

namespace imge {

// `pixel` with noise of `type` (IMF_Noise*; unknown types act as uniform)
// and strength `amount`, clamped to 0..255 and truncated. Draws from rand().
TUbyte GetNoise(TUbyte pixel, TWord type, double amount);

}  // namespace imge
