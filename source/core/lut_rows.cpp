#include "core/lut_rows.h"

namespace imge {

void LutBytes(uint8_t *p, std::size_t n, const uint8_t *t) {
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint8_t a0 = t[p[i]], a1 = t[p[i + 1]], a2 = t[p[i + 2]], a3 = t[p[i + 3]];
        uint8_t a4 = t[p[i + 4]], a5 = t[p[i + 5]], a6 = t[p[i + 6]], a7 = t[p[i + 7]];
        p[i] = a0; p[i + 1] = a1; p[i + 2] = a2; p[i + 3] = a3;
        p[i + 4] = a4; p[i + 5] = a5; p[i + 6] = a6; p[i + 7] = a7;
    }
    for (; i < n; ++i) p[i] = t[p[i]];
}

void LutQuads(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2) {
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2, p += 8) {
        uint8_t a0 = t0[p[0]], a1 = t1[p[1]], a2 = t2[p[2]];
        uint8_t b0 = t0[p[4]], b1 = t1[p[5]], b2 = t2[p[6]];
        p[0] = a0; p[1] = a1; p[2] = a2;
        p[4] = b0; p[5] = b1; p[6] = b2;
    }
    for (; i < n; ++i, p += 4) {
        p[0] = t0[p[0]]; p[1] = t1[p[1]]; p[2] = t2[p[2]];
    }
}

void LutTriples(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2) {
    for (std::size_t i = 0; i < n; ++i, p += 3) {
        uint8_t a0 = t0[p[0]], a1 = t1[p[1]], a2 = t2[p[2]];
        p[0] = a0; p[1] = a1; p[2] = a2;
    }
}

}  // namespace imge
