// Where the noise draws come from.
//
// Every call reseeds the C library's generator with srand(time) and takes its
// draws in pixel order. rand() takes a lock per call, which costs more than
// the noise itself, so the call draws from a private copy of the C library's
// algorithm instead when a check at the start shows that the copy yields
// exactly what rand() yields after the same srand; otherwise from rand().
#pragma once

#include <cstdint>
#include <cstdlib>

namespace imge {

// The additive feedback generator behind glibc's rand() (its default state
// of 31 words): seeded by the minimal standard generator 16807 x mod 2^31 - 1,
// then x[n] = x[n - 31] + x[n - 3] mod 2^32 with the first 310 values thrown
// away; each draw is x[n] >> 1.
class FeedbackDraws {
public:
    explicit FeedbackDraws(unsigned seed) {
        if (seed == 0) seed = 1;
        r_[0] = static_cast<std::uint32_t>(seed);
        long word = static_cast<long>(seed);  // long as the C library has it (32 bits on i386)
        for (int i = 1; i < 31; ++i) {
            const long hi = word / 127773;
            const long lo = word % 127773;
            word = 16807 * lo - 2836 * hi;
            if (word < 0) word += 2147483647;
            r_[i] = static_cast<std::uint32_t>(word);
        }
        front_ = 3;
        rear_ = 0;
        for (int i = 0; i < 310; ++i) Next();
    }

    unsigned Next() {
        const std::uint32_t v = r_[front_] += r_[rear_];
        front_ = front_ == 30 ? 0 : front_ + 1;
        rear_ = rear_ == 30 ? 0 : rear_ + 1;
        return v >> 1;
    }

private:
    std::uint32_t r_[31];
    int front_, rear_;
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

}  // namespace imge
