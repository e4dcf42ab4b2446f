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

// 256-entry lookup in vectors: the table is split into sixteen 16-byte
// pieces; each byte's low nibble indexes a piece (a byte shuffle per 128-bit
// block), its high nibble selects which piece's answer it keeps.
// keep3: leave every fourth byte (byte 3 of 4-byte pixels) unchanged.
template <bool keep3>
void LutVec(uint8_t *HWY_RESTRICT p, std::size_t bytes, const uint8_t *HWY_RESTRICT table) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t N = hn::Lanes(d);
    HWY_ALIGN uint8_t pattern[HWY_MAX_BYTES];
    for (std::size_t i = 0; i < N; ++i) pattern[i] = (i & 3) == 3 ? 0xFF : 0;
    const auto keep = hn::Eq(hn::Load(d, pattern), hn::Set(d, 0xFF));
    const auto nibble = hn::Set(d, 0x0F);
    decltype(hn::Zero(d)) piece[16];
    for (int h = 0; h < 16; ++h) piece[h] = hn::LoadDup128(d, table + 16 * h);
    std::size_t i = 0;
    for (; i + N <= bytes; i += N) {
        const auto v = hn::LoadU(d, p + i);
        const auto lo = hn::And(v, nibble);
        const auto hi = hn::ShiftRight<4>(v);
        auto r = hn::TableLookupBytes(piece[0], lo);
        for (int h = 1; h < 16; ++h)
            r = hn::IfThenElse(hn::Eq(hi, hn::Set(d, static_cast<uint8_t>(h))),
                               hn::TableLookupBytes(piece[h], lo), r);
        if (keep3) r = hn::IfThenElse(keep, v, r);
        hn::StoreU(r, d, p + i);
    }
    for (; i < bytes; ++i)
        if (!keep3 || (i & 3) != 3) p[i] = table[p[i]];
}

void LutBytesVec(uint8_t *HWY_RESTRICT p, std::size_t n, const uint8_t *HWY_RESTRICT t) {
    LutVec<false>(p, n, t);
}
void LutQuadsVec(uint8_t *HWY_RESTRICT p, std::size_t n, const uint8_t *HWY_RESTRICT t) {
    LutVec<true>(p, n * 4, t);
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(XorPattern);
HWY_EXPORT(LutBytesVec);
HWY_EXPORT(LutQuadsVec);

void LutBytesOne(uint8_t *p, std::size_t n, const uint8_t *t) {
    if (ScalarForced()) return LutBytes(p, n, t);
    HWY_DYNAMIC_DISPATCH(LutBytesVec)(p, n, t);
}

void LutQuadsOne(uint8_t *p, std::size_t n, const uint8_t *t) {
    if (ScalarForced()) return LutQuads(p, n, t, t, t);
    HWY_DYNAMIC_DISPATCH(LutQuadsVec)(p, n, t);
}

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
