// The per-pixel arithmetic of the two tone operations that write a new
// bitmap: proportional brightness and saturation gamma.
#pragma once

#include "libimg.h"

namespace imge {
namespace lut {

// `value` moved towards 2 * max / 2 (amount > 0) or 0 (amount < 0) by
// min(|amount|, max) / max of the distance, limited to 0..max. |amount| is
// taken as a 16-bit unsigned quantity (its low 16 bits).
int conbright(unsigned value, TLong amount, unsigned max);

// One component of a pixel whose largest component is `reference`:
// unchanged when it is that largest one, 0 when 0, otherwise
// trunc(reference * pow(value / reference, gamma)).
int gammasat(int reference, int value, double gamma);

}  // namespace lut
}  // namespace imge
