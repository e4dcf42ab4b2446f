// Vector kernels of the table engine (Highway, dispatched at run time).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lut/lut_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/dispatch.h"
#include "lut/lut_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// p[i] ^= mask[i % 4 pattern]; the vector length is a multiple of 4 bytes so
// one pattern vector serves every position.
void XorPattern(uint8_t *HWY_RESTRICT p, std::size_t bytes, uint8_t m3) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t N = hn::Lanes(d);
    HWY_ALIGN uint8_t pattern[HWY_MAX_BYTES];
    for (std::size_t i = 0; i < N; ++i) pattern[i] = (i & 3) == 3 ? m3 : 0xFF;
    const auto mask = hn::Load(d, pattern);
    std::size_t i = 0;
    for (; i + N <= bytes; i += N) hn::StoreU(hn::Xor(hn::LoadU(d, p + i), mask), d, p + i);
    for (; i < bytes; ++i) p[i] ^= pattern[i & 3];
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(XorPattern);

void InvertBytes(uint8_t *p, std::size_t n) {
    if (ScalarForced()) {
        for (std::size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(255 - p[i]);
        return;
    }
    HWY_DYNAMIC_DISPATCH(XorPattern)(p, n, 0xFF);
}

void InvertQuads(uint8_t *p, std::size_t n) {
    if (ScalarForced()) {
        for (std::size_t i = 0; i < n; ++i, p += 4) {
            p[0] = static_cast<uint8_t>(255 - p[0]);
            p[1] = static_cast<uint8_t>(255 - p[1]);
            p[2] = static_cast<uint8_t>(255 - p[2]);
        }
        return;
    }
    HWY_DYNAMIC_DISPATCH(XorPattern)(p, n * 4, 0x00);
}

}  // namespace imge
#endif
