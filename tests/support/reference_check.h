// Drives a fast processing operation and its plain reference over random
// bitmaps (every given type, odd sizes and paddings, random areas, in place
// and with a destination) and compares every byte.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "libimg.h"
#include "support/bitmaps.h"

namespace testing_support {

// fast(src, dst_or_null, area_or_null) -> IMF_ERROR;
// ref(src, expected, rect): writes the result into `expected`, a copy of src.
// `separate`: the operation writes a new bitmap (TransparentIndex -1).
// Widths and heights are 1..max_size.
template <typename Fast, typename Ref>
void CheckAgainstReference(unsigned seed, const unsigned *types, int type_count, int rounds, Fast fast, Ref ref,
                           bool separate = false, int max_size = 41) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> size(1, max_size), pack(1, 8), coin(0, 1);
    for (int round = 0; round < rounds; ++round) {
        const unsigned type = types[round % type_count];
        const int w = size(rng), h = size(rng);
        OwnedImf src;
        MakeRandom(rng, type, w, h, pack(rng), &src);
        if (type == IMF_GREY && round % 4 == 1) src->ColorUsed = static_cast<TWord>(2 + rng() % 254);
        if (type == IMF_COLORS && round % 4 == 3) src->ColorUsed = static_cast<TWord>(1 + rng() % 256);
        src->TransparentIndex = 5;
        const bool with_area = coin(rng), with_dst = coin(rng);
        const IMF_RECT area = with_area ? RandomArea(rng, w, h) : IMF_RECT{0, 0, w, h};
        SCOPED_TRACE(TypeName(type) + " " + std::to_string(w) + "x" + std::to_string(h) +
                     (with_area ? " area" : "") + (with_dst ? " dst" : " in place") + " round " +
                     std::to_string(round));
        OwnedImf before, expect;
        Clone(src.b, &before);
        Clone(src.b, &expect);
        ref(before.b, expect.get(), area);

        OwnedImf dst;
        ASSERT_EQ(fast(src.get(), with_dst ? dst.get() : nullptr, with_area ? &area : nullptr), IMF_NOERROR);
        const IMF_BITMAP &out = with_dst ? dst.b : src.b;
        EXPECT_EQ(Diff(out, expect.b), "");
        EXPECT_EQ(out.ColorUsed, expect->ColorUsed);
        EXPECT_EQ(out.TransparentIndex, separate ? -1 : 5);
        if (with_dst) {
            EXPECT_EQ(Diff(src.b, before.b), "") << "source changed";
            EXPECT_EQ(src->ColorUsed, before->ColorUsed);
        }
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace testing_support
