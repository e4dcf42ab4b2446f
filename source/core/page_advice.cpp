#include "core/page_advice.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace imge {

void AdviseLargeBuffer(void *p, std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::size_t kLarge = std::size_t{4} << 20;
    constexpr std::uintptr_t kPage = 4096;
    if (!p || bytes < kLarge) return;
    const std::uintptr_t start = (reinterpret_cast<std::uintptr_t>(p) + kPage - 1) & ~(kPage - 1);
    const std::uintptr_t stop = (reinterpret_cast<std::uintptr_t>(p) + bytes) & ~(kPage - 1);
    if (stop > start) madvise(reinterpret_cast<void *>(start), stop - start, MADV_HUGEPAGE);  // a hint: result ignored
#else
    (void)p;
    (void)bytes;
#endif
}

}  // namespace imge
