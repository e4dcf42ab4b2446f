// The vector row kernels added for the tone family against their plain
// loops, on rows long enough for every vector width and every tail length.
#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "lut/luma_rows.h"
#include "core/lut_rows.h"

namespace {

void CheckThreeTableLookups() {
    std::mt19937 rng(12);
    std::vector<uint8_t> tables(768);
    for (uint8_t &t : tables) t = static_cast<uint8_t>(rng());
    const uint8_t *t0 = tables.data(), *t1 = t0 + 256, *t2 = t0 + 512;
    for (std::size_t n = 0; n < 300; n += (n < 140 ? 1 : 37)) {
        for (int bpp : {3, 4}) {
            std::vector<uint8_t> row(n * bpp + 1);
            for (uint8_t &v : row) v = static_cast<uint8_t>(rng());
            std::vector<uint8_t> fast(row), plain(row);
            if (bpp == 3) {
                imge::LutTriplesThree(fast.data(), n, t0, t1, t2);
                imge::LutTriples(plain.data(), n, t0, t1, t2);
            } else {
                imge::LutQuadsThree(fast.data(), n, t0, t1, t2);
                imge::LutQuads(plain.data(), n, t0, t1, t2);
            }
            ASSERT_EQ(fast, plain) << "bpp " << bpp << " n " << n;
            ASSERT_EQ(fast.back(), row.back()) << "wrote past the row";
        }
    }
}

void CheckOneTableLookups() {
    std::mt19937 rng(14);
    std::vector<uint8_t> t(256);
    for (uint8_t &v : t) v = static_cast<uint8_t>(rng());
    for (std::size_t n = 0; n < 300; n += (n < 140 ? 1 : 37)) {
        std::vector<uint8_t> row(n * 4 + 1);
        for (uint8_t &v : row) v = static_cast<uint8_t>(rng());
        std::vector<uint8_t> fast(row), plain(row);
        imge::LutBytesOne(fast.data(), n * 4, t.data());
        imge::LutBytes(plain.data(), n * 4, t.data());
        ASSERT_EQ(fast, plain) << "bytes, n " << n * 4;
        fast = row;
        plain = row;
        imge::LutQuadsOne(fast.data(), n, t.data());
        imge::LutQuads(plain.data(), n, t.data(), t.data(), t.data());
        ASSERT_EQ(fast, plain) << "quads, n " << n;
        ASSERT_EQ(fast.back(), row.back()) << "wrote past the row";
        // The complement table's own kernels.
        std::vector<uint8_t> inv(256);
        for (int v = 0; v < 256; ++v) inv[v] = static_cast<uint8_t>(255 - v);
        fast = row;
        plain = row;
        imge::InvertQuads(fast.data(), n);
        imge::LutQuads(plain.data(), n, inv.data(), inv.data(), inv.data());
        ASSERT_EQ(fast, plain) << "inverted quads, n " << n;
        fast = row;
        plain = row;
        imge::InvertBytes(fast.data(), n * 4 + 1);
        imge::LutBytes(plain.data(), n * 4 + 1, inv.data());
        ASSERT_EQ(fast, plain) << "inverted bytes, n " << n * 4 + 1;
    }
}

void CheckLuminanceRows() {
    std::mt19937 rng(13);
    struct Order { int bpp, r, g, b; };
    const Order orders[] = {{3, 0, 1, 2}, {3, 2, 1, 0}, {4, 0, 1, 2}, {4, 2, 1, 0}, {4, 3, 2, 1}, {4, 1, 2, 3}};
    for (const Order &o : orders)
        for (std::size_t n = 0; n < 300; n += (n < 140 ? 1 : 41)) {
            std::vector<uint8_t> row(n * o.bpp);
            for (uint8_t &v : row) v = static_cast<uint8_t>(rng());
            if (n) std::memset(row.data(), 255, static_cast<std::size_t>(o.bpp));  // the largest sum
            std::vector<uint8_t> fast(n + 1, 7), plain(n + 1, 7);
            imge::LumaRow(row.data(), n, o.bpp, o.r, o.g, o.b, fast.data());
            imge::LumaRowPlain(row.data(), n, o.bpp, o.r, o.g, o.b, plain.data());
            ASSERT_EQ(fast, plain) << "bpp " << o.bpp << " n " << n;
            if (n) {
                ASSERT_EQ(fast[0], 255);
            }
        }
}

// Every target this machine can run, the plain one included (the best one
// is chosen otherwise, so the others would go untested).
class ToneKernels : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ToneKernels);

TEST_P(ToneKernels, MatchThePlainLoops) {
    CheckThreeTableLookups();
    CheckOneTableLookups();
    CheckLuminanceRows();
}

}  // namespace
