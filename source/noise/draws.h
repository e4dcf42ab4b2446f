// Where the noise draws come from.
//
// Every call reseeds the C library's generator with srand(time) and takes its
// draws in pixel order. rand() takes a lock per call, which costs more than
// the noise itself, so the call draws from a private copy of the C library's
// algorithm instead when a check at the start shows that the copy yields
// exactly what rand() yields after the same srand; otherwise from rand().
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "noise/noise_rows.h"

namespace imge {
namespace noise {

// The additive feedback generator behind glibc's rand() (its default state
// of 31 words): seeded by the minimal standard generator 16807 x mod 2^31 - 1,
// then y[n] = y[n - 31] + y[n - 3] mod 2^32 with the first 310 values thrown
// away; each draw is y[n] >> 1. Values are made 31 at a time (FeedbackRounds,
// noise_rows.h), a round from the one before it.
class FeedbackDraws {
public:
    explicit FeedbackDraws(unsigned seed) {
        if (seed == 0) seed = 1;
        // first[i] is y[i - 31]: the 31 seeded words, then the 310 thrown away.
        std::uint32_t first[31 + 310];
        first[0] = static_cast<std::uint32_t>(seed);
        // A 32-bit signed word as the C library has it: seeds from 2^31 on
        // start negative.
        std::int32_t word = static_cast<std::int32_t>(seed);
        for (int i = 1; i < 31; ++i) {
            const long hi = word / 127773;
            const long lo = word % 127773;
            word = static_cast<std::int32_t>(16807 * lo - 2836 * hi);
            if (word < 0) word += 2147483647;
            first[i] = static_cast<std::uint32_t>(word);
        }
        // The generator's state words start three places on: y[-31..-1] are
        // words 3..30 and 0..2.
        std::uint32_t words[31];
        for (int i = 0; i < 31; ++i) words[i] = first[(i + 3) % 31];
        for (int i = 0; i < 31; ++i) first[i] = words[i];
        for (int i = 31; i < 31 + 310; ++i) first[i] = first[i - 31] + first[i - 3];
        for (int i = 0; i < 31; ++i) round_[i] = first[310 + i];
        round_[31] = 0;
        pos_ = kBlock;
    }

    unsigned Next() {
        if (pos_ == kBlock) Refill();
        return draws_[pos_++];
    }

    // The next n draws, each cut to its low 15 bits (all the noise uses),
    // into out: the same values n calls of Next() would give.
    void Fill(std::uint32_t *out, std::size_t n) {
        for (;;) {
            const std::size_t take = n < kBlock - pos_ ? n : kBlock - pos_;
            const std::uint32_t *d = draws_ + pos_;
            for (std::size_t i = 0; i < take; ++i) out[i] = d[i] & 0x7FFF;
            out += take;
            n -= take;
            pos_ += take;
            if (n == 0) return;
            // Whole rounds straight into out, as long as the lane written
            // beyond each round still falls inside it.
            const std::size_t rounds = (n - 1) / 31;
            FeedbackRounds(round_, out, rounds, 0x7FFF);
            out += 31 * rounds;
            n -= 31 * rounds;
            Refill();
        }
    }

private:
    static constexpr std::size_t kRounds = 64, kBlock = 31 * kRounds;

    void Refill() {
        FeedbackRounds(round_, draws_, kRounds, 0xFFFFFFFFu);
        pos_ = 0;
    }

    std::uint32_t round_[32];  // the last 31 values (and room for a 32nd lane)
    std::uint32_t draws_[kBlock + 1];
    std::size_t pos_;
};

// rand() itself, for C libraries whose generator the copy does not match.
struct RandDraws {
    unsigned Next() { return static_cast<unsigned>(std::rand()); }
};

// srand(seed), then true when the first draws of rand() are those of
// FeedbackDraws(seed). Leaves the C library's generator freshly seeded with
// `seed` either way.
inline bool FeedbackMatchesRand(unsigned seed) {
    std::srand(seed);
    FeedbackDraws copy(seed);
    bool same = true;
    for (int i = 0; i < 64 && same; ++i) same = static_cast<unsigned>(std::rand()) == copy.Next();
    std::srand(seed);
    return same;
}

}  // namespace noise
}  // namespace imge
