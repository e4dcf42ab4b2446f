// The table engine against its plain reference, and the stated examples.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "libformat.h"
#include "libtools.h"
#include "lut/lut_engine.h"
#include "reference/lut_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

// Runs the fast engine and the reference on the same random input, in place
// and with a destination, on random areas, and compares every byte.
TEST(LutEngine, MatchesReferenceOnRandomBitmaps) {
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> size(1, 37), pack(1, 8), byte(0, 255), coin(0, 1);
    for (int iter = 0; iter < 400; ++iter) {
        unsigned type = testing_support::kByteTypes[iter % 9];
        int w = size(rng), h = size(rng);
        OwnedImf src;
        testing_support::MakeRandom(rng, type, w, h, pack(rng), &src);
        if (type == IMF_GREY && coin(rng)) src->ColorUsed = static_cast<TWord>(2 + byte(rng) % 254);
        TUbyte tables[768];
        for (TUbyte &t : tables) t = static_cast<TUbyte>(byte(rng));
        if (iter % 5 == 0) for (int v = 0; v < 256; ++v) tables[v] = static_cast<TUbyte>(255 - v);
        IMF_RECT area = coin(rng) ? testing_support::RandomArea(rng, w, h) : IMF_RECT{0, 0, w, h};
        bool more = coin(rng), with_dst = coin(rng);
        SCOPED_TRACE(testing_support::TypeName(type) + " " + std::to_string(w) + "x" + std::to_string(h) +
                     (more ? " more" : " single") + (with_dst ? " dst" : " in place"));

        OwnedImf expect;
        testing_support::Clone(*src.get(), &expect);
        if (more) reference::ApplyLutMore(*src.get(), expect.get(), area, tables);
        else reference::ApplyLut(*src.get(), expect.get(), area, tables);

        OwnedImf before;
        testing_support::Clone(*src.get(), &before);
        TUbyte scratch[256];
        std::memcpy(scratch, tables, 256);
        OwnedImf dst;
        IMF_BITMAP *d = with_dst ? dst.get() : nullptr;
        IMF_ERROR rc = more ? imge::ApplyLutMore(src.get(), d, &area, tables)
                            : imge::ApplyLut(src.get(), d, &area, scratch);
        ASSERT_EQ(rc, IMF_NOERROR);
        if (with_dst) {
            EXPECT_EQ(testing_support::Diff(*dst.get(), *expect.get()), "");
            EXPECT_EQ(testing_support::Diff(*src.get(), *before.get()), "") << "source changed";
            EXPECT_EQ(dst->ColorUsed, src->ColorUsed);
        } else {
            EXPECT_EQ(testing_support::Diff(*src.get(), *expect.get()), "");
        }
    }
}

}  // namespace
