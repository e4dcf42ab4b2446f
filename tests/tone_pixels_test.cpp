// Proportional brightness and saturation gamma: stated values, the
// operations against their references, refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "libformat.h"
#include "libtools.h"
#include "lut/tone_pixels.h"
#include "reference/tone_reference.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

TEST(Conbright, StatedValues) {
    struct Case { TLong amount; unsigned in; int out; };
    const Case cases[] = {
        {50, 0, 50}, {50, 100, 130}, {50, 200, 210},
        {-50, 100, 80}, {-50, 200, 161}, {-50, 255, 205},
        {0, 77, 77}, {255, 3, 255}, {1000, 3, 255}, {-255, 250, 0}, {-1000, 250, 0},
    };
    for (const Case &c : cases) EXPECT_EQ(imge::lut::conbright(c.in, c.amount, 255), c.out) << c.amount << " " << c.in;
}

TEST(Gammasat, StatedValues) {
    EXPECT_EQ(imge::lut::gammasat(200, 100, 2.0), 50);
    EXPECT_EQ(imge::lut::gammasat(200, 100, 0.5), 141);
    EXPECT_EQ(imge::lut::gammasat(200, 200, 3.0), 200);
    EXPECT_EQ(imge::lut::gammasat(200, 0, 0.5), 0);
    // A pixel with equal components is unchanged.
    OwnedImf b;
    ASSERT_NE(imfAllock(b.get(), IMF_RGB, 1, 2, 1), 0);
    const TUbyte px[6] = {90, 90, 90, 200, 100, 0};
    std::memcpy(b->Data, px, 6);
    ASSERT_EQ(imfGammasat(b.get(), nullptr, nullptr, 2.0), IMF_NOERROR);
    const TUbyte want[6] = {90, 90, 90, 200, 50, 0};
    EXPECT_EQ(std::memcmp(b->Data, want, 6), 0);
}

}  // namespace
