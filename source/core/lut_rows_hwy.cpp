// Vector kernels of the table engine (Highway, dispatched at run time).
// Also compiled for AVX-512 with byte permutes (VBMI), where a 256-entry
// look-up is two permutes and a blend instead of sixteen shuffles.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/lut_rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/byte_vectors-inl.h"
#include "core/lut_rows.h"

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// p[i] ^= pattern[i % 4]: 0xFF on bytes 0-2, m3 on byte 3. The vector length
// is a multiple of 4 bytes, so one pattern vector serves every position; the
// one-lane target is the plain loop alone.
void XorPattern(uint8_t *HWY_RESTRICT p, std::size_t bytes, uint8_t m3) {
    const uint8_t pattern4[4] = {0xFF, 0xFF, 0xFF, m3};
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<uint8_t> d;
    const std::size_t N = hn::Lanes(d);
    HWY_ALIGN uint8_t pattern[HWY_MAX_BYTES];
    for (std::size_t k = 0; k < N; ++k) pattern[k] = pattern4[k & 3];
    const auto mask = hn::Load(d, pattern);
    for (; i + N <= bytes; i += N) hn::StoreU(hn::Xor(hn::LoadU(d, p + i), mask), d, p + i);
#endif
    for (; i < bytes; ++i) p[i] ^= pattern4[i & 3];
}

// 256-entry lookup in vectors: with byte permutes the four-register table;
// otherwise the table split into sixteen 16-byte pieces, each byte's low
// nibble indexing a piece (a byte shuffle per 128-bit block), its high nibble
// selecting which piece's answer it keeps.
// keep3: leave every fourth byte (byte 3 of 4-byte pixels) unchanged.
template <bool keep3>
void LutVec(uint8_t *HWY_RESTRICT p, std::size_t bytes, const uint8_t *HWY_RESTRICT table) {
    const hn::ScalableTag<uint8_t> d;
    const std::size_t N = hn::Lanes(d);
    HWY_ALIGN uint8_t pattern[HWY_MAX_BYTES];
    for (std::size_t i = 0; i < N; ++i) pattern[i] = (i & 3) == 3 ? 0xFF : 0;
    const auto keep = hn::Eq(hn::Load(d, pattern), hn::Set(d, 0xFF));
#if HWY_TARGET == HWY_AVX3_DL
    const Table256 lookup(table);
#else
    // The sixteen pieces stay in registers for the whole row.
    decltype(hn::Zero(d)) piece[16];
    for (int h = 0; h < 16; ++h) piece[h] = hn::LoadDup128(d, table + 16 * h);
    auto lookup = [&](decltype(d), hn::Vec<decltype(d)> v) { return LookupLoadedPieces(d, piece, v); };
#endif
    std::size_t i = 0;
    for (; i + N <= bytes; i += N) {
        const auto v = hn::LoadU(d, p + i);
        auto r = lookup(d, v);
        if (keep3) r = hn::IfThenElse(keep, v, r);
        hn::StoreU(r, d, p + i);
    }
    for (; i < bytes; ++i)
        if (!keep3 || (i & 3) != 3) p[i] = table[p[i]];
}

// Three tables by byte position: 3-byte pixels split into planes, each
// plane through its table, then interleaved again.
void LutTriplesVec(uint8_t *HWY_RESTRICT p, std::size_t n, const uint8_t *HWY_RESTRICT t0,
                   const uint8_t *HWY_RESTRICT t1, const uint8_t *HWY_RESTRICT t2) {
#if HWY_TARGET == HWY_SCALAR
    return LutTriples(p, n, t0, t1, t2);
#else
    const hn::ScalableTag<uint8_t> d;
    const std::size_t N = hn::Lanes(d);
    const Table256 l0(t0), l1(t1), l2(t2);
    std::size_t i = 0;
    for (; i + N <= n; i += N) {
        decltype(hn::Zero(d)) v0, v1, v2;
        hn::LoadInterleaved3(d, p + 3 * i, v0, v1, v2);
        hn::StoreInterleaved3(l0(d, v0), l1(d, v1), l2(d, v2), d, p + 3 * i);
    }
    for (; i < n; ++i) {
        uint8_t *q = p + 3 * i;
        q[0] = t0[q[0]]; q[1] = t1[q[1]]; q[2] = t2[q[2]];
    }
#endif
}

// The same for 4-byte pixels, byte 3 kept.
void LutQuadsThreeVec(uint8_t *HWY_RESTRICT p, std::size_t n, const uint8_t *HWY_RESTRICT t0,
                      const uint8_t *HWY_RESTRICT t1, const uint8_t *HWY_RESTRICT t2) {
#if HWY_TARGET == HWY_SCALAR
    return LutQuads(p, n, t0, t1, t2);
#else
    const hn::ScalableTag<uint8_t> d;
    const std::size_t N = hn::Lanes(d);
    const Table256 l0(t0), l1(t1), l2(t2);
    std::size_t i = 0;
    for (; i + N <= n; i += N) {
        decltype(hn::Zero(d)) v0, v1, v2, v3;
        hn::LoadInterleaved4(d, p + 4 * i, v0, v1, v2, v3);
        hn::StoreInterleaved4(l0(d, v0), l1(d, v1), l2(d, v2), v3, d, p + 4 * i);
    }
    for (; i < n; ++i) {
        uint8_t *q = p + 4 * i;
        q[0] = t0[q[0]]; q[1] = t1[q[1]]; q[2] = t2[q[2]];
    }
#endif
}

void LutBytesVec(uint8_t *HWY_RESTRICT p, std::size_t n, const uint8_t *HWY_RESTRICT t) {
#if HWY_TARGET == HWY_SCALAR
    return LutBytes(p, n, t);
#else
    LutVec<false>(p, n, t);
#endif
}
void LutQuadsVec(uint8_t *HWY_RESTRICT p, std::size_t n, const uint8_t *HWY_RESTRICT t) {
#if HWY_TARGET == HWY_SCALAR
    return LutQuads(p, n, t, t, t);
#else
    LutVec<true>(p, n * 4, t);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace imge {
HWY_EXPORT(XorPattern);
HWY_EXPORT(LutBytesVec);
HWY_EXPORT(LutQuadsVec);
HWY_EXPORT(LutTriplesVec);
HWY_EXPORT(LutQuadsThreeVec);

void LutTriplesThree(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2) {
    HWY_DYNAMIC_DISPATCH(LutTriplesVec)(p, n, t0, t1, t2);
}

void LutQuadsThree(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2) {
    HWY_DYNAMIC_DISPATCH(LutQuadsThreeVec)(p, n, t0, t1, t2);
}

void LutBytesOne(uint8_t *p, std::size_t n, const uint8_t *t) {
    HWY_DYNAMIC_DISPATCH(LutBytesVec)(p, n, t);
}

void LutQuadsOne(uint8_t *p, std::size_t n, const uint8_t *t) {
    HWY_DYNAMIC_DISPATCH(LutQuadsVec)(p, n, t);
}

void InvertBytes(uint8_t *p, std::size_t n) { HWY_DYNAMIC_DISPATCH(XorPattern)(p, n, 0xFF); }

void InvertQuads(uint8_t *p, std::size_t n) { HWY_DYNAMIC_DISPATCH(XorPattern)(p, n * 4, 0x00); }

}  // namespace imge
#endif
