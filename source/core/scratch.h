// Scratch memory owned by one call: released on every path out of the
// function. Allocation failures are reported (null), never thrown.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "records/large_blocks.h"

namespace imge {

template <typename T>
class Scratch {
    static_assert(std::is_trivially_copyable<T>::value, "scratch holds plain values");

public:
    Scratch() = default;
    explicit Scratch(std::size_t n, bool zero = false) { Allocate(n, zero); }
    ~Scratch() { std::free(p_); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    Scratch(Scratch &&o) noexcept : p_(o.p_), n_(o.n_) { o.p_ = nullptr; o.n_ = 0; }

    // Replaces the contents with n elements (zeroed on request); false when short of memory.
    bool Allocate(std::size_t n, bool zero = false) {
        std::free(p_);
        p_ = nullptr;
        n_ = 0;
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) return false;
        std::size_t bytes = n * sizeof(T);
        p_ = static_cast<T *>(imge::records::AllocateBlock(bytes, zero));
        if (p_) n_ = n;
        return p_ != nullptr;
    }
    bool ok() const { return p_ != nullptr; }
    T *get() { return p_; }
    const T *get() const { return p_; }
    T &operator[](std::size_t i) { return p_[i]; }
    const T &operator[](std::size_t i) const { return p_[i]; }
    std::size_t size() const { return n_; }

private:
    T *p_ = nullptr;
    std::size_t n_ = 0;
};

}  // namespace imge
