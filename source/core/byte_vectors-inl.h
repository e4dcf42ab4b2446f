// Vector helpers on whole vectors of bytes shared by several kernels
// (Highway, included once per target after foreach_target.h).
#if defined(IMGE_CORE_BYTE_VECTORS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef IMGE_CORE_BYTE_VECTORS_INL_H_
#undef IMGE_CORE_BYTE_VECTORS_INL_H_
#else
#define IMGE_CORE_BYTE_VECTORS_INL_H_
#endif

#include <cstdint>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace imge {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// One 256-entry lookup of a whole vector: the table is split into sixteen
// 16-byte pieces (piece[h] = entries 16 h .. 16 h + 15 in every 128-bit
// block); each byte's low nibble indexes a piece (a byte shuffle per block),
// its high nibble selects which piece's answer it keeps. Vector targets only:
// on the one-lane target the plain loops do the look-ups.
template <class D, class V>
HWY_INLINE V LookupLoadedPieces(D d, const V (&piece)[16], V v) {
    const auto lo = hn::And(v, hn::Set(d, 0x0F));
    const auto hi = hn::ShiftRight<4>(v);
    auto r = hn::TableLookupBytes(piece[0], lo);
    for (int h = 1; h < 16; ++h)
        r = hn::IfThenElse(hn::Eq(hi, hn::Set(d, static_cast<uint8_t>(h))), hn::TableLookupBytes(piece[h], lo), r);
    return r;
}

// The same straight from the table's bytes.
template <class D, class V>
HWY_INLINE V LookupPieces(D d, const uint8_t *HWY_RESTRICT table, V v) {
    V piece[16];
    for (int h = 0; h < 16; ++h) piece[h] = hn::LoadDup128(d, table + 16 * h);
    return LookupLoadedPieces(d, piece, v);
}

// A 256-entry table ready for whole-vector look-ups, t(d, v). With AVX-512
// byte permutes (VBMI; CMakeLists.txt names the files that compile it)
// all 256 entries are held in four registers and a look-up is two permutes
// and a blend (bit 7 of the byte picks the half); elsewhere LookupPieces.
#if HWY_TARGET == HWY_AVX3_DL
// Raw intrinsics: Highway 1.0 has no look-up of bytes in two tables at once
// (TwoTablesLookupLanes came later, and not for 8-bit lanes), and VBMI's
// permutex2var_epi8 is exactly that.
struct Table256 {
    __m512i q[4];
    explicit Table256(const uint8_t *t) {
        for (int i = 0; i < 4; ++i) q[i] = _mm512_loadu_si512(t + 64 * i);
    }
    template <class D, class V>
    HWY_INLINE V operator()(D, V v) const {
        const __m512i low = _mm512_permutex2var_epi8(q[0], v.raw, q[1]);
        const __m512i high = _mm512_permutex2var_epi8(q[2], v.raw, q[3]);
        return V{_mm512_mask_blend_epi8(_mm512_movepi8_mask(v.raw), low, high)};
    }
};
#else
struct Table256 {
    const uint8_t *t;
    explicit Table256(const uint8_t *table) : t(table) {}
    template <class D, class V>
    HWY_INLINE V operator()(D d, V v) const { return LookupPieces(d, t, v); }
};
#endif

// (77 r + 150 g + 29 b) >> 8 per byte lane (the sum is at most 65 280).
template <class D, class V>
HWY_INLINE V Luma(D d, V r, V g, V b) {
    // The even and the odd bytes weighted in 16-bit lanes, put back together.
    const hn::Repartition<uint16_t, D> d16;
    const auto low = hn::Set(d16, 0x00FF);
    const auto re = hn::BitCast(d16, r), ge = hn::BitCast(d16, g), be = hn::BitCast(d16, b);
    auto even = hn::Mul(hn::And(re, low), hn::Set(d16, 77));
    even = hn::Add(even, hn::Mul(hn::And(ge, low), hn::Set(d16, 150)));
    even = hn::Add(even, hn::Mul(hn::And(be, low), hn::Set(d16, 29)));
    auto odd = hn::Mul(hn::ShiftRight<8>(re), hn::Set(d16, 77));
    odd = hn::Add(odd, hn::Mul(hn::ShiftRight<8>(ge), hn::Set(d16, 150)));
    odd = hn::Add(odd, hn::Mul(hn::ShiftRight<8>(be), hn::Set(d16, 29)));
    // even >> 8 lands in the low byte; odd keeps its high byte in place.
    return hn::BitCast(d, hn::Or(hn::ShiftRight<8>(even), hn::And(odd, hn::Set(d16, 0xFF00))));
}

// int32 lanes to bytes, saturating to 0 .. 255. Highway 1.0.3's DemoteTo
// from int32 to uint8 wraps 32768 .. 33022 to 0 .. 254 on AVX2, AVX-512 and
// the emulated 128-bit target (its two-step narrowing reads them back as
// signed 16-bit values); lowering everything above 255 first avoids that.
template <class D8, class V32>
HWY_INLINE hn::Vec<D8> SaturateToBytes(D8 d8, V32 v) {
    return hn::DemoteTo(d8, hn::Min(v, hn::Set(hn::DFromV<V32>(), 255)));
}

}  // namespace HWY_NAMESPACE
}  // namespace imge
HWY_AFTER_NAMESPACE();

#endif  // include guard
