// The Gaussian blur: the shared row frame with a separable n x n kernel,
// sizes 2 to 25.
#include <cstddef>

#include "blur/gauss_rows.h"
#include "core/row_frame.h"
#include "core/scratch.h"
#include "libformat.h"

namespace imge {
namespace blur {
namespace {

constexpr TLong kLargestGauss = 25;

class GaussKernel {
public:
    explicit GaussKernel(int n) : n_(n) {}
    bool Prepare(int width, int bpp) {
        bpp_ = bpp;
        MakeGaussWeights(n_, &w_);
        // One edge-extended row of floats and a vector's worth more (set,
        // since the vector path may read it), and the transposing block.
        const std::size_t row =
            (static_cast<std::size_t>(width) + 2 * static_cast<std::size_t>(n_ >> 1)) * static_cast<std::size_t>(bpp);
        return scratch_.Allocate(row + 16, true) && block_.Allocate(GaussBlockFloats(n_, bpp), true);
    }
    void Row(const uint8_t *const *slots, int begin, int end, uint8_t *out) {
        GaussRow(w_, slots, bpp_, begin, end, scratch_.get(), block_.get(), out);
    }
    // Nothing is kept from one row to the next: the frame may hand over the
    // source rows themselves.
    bool RowsInPlace() const { return true; }

private:
    int n_, bpp_ = 0;
    GaussWeights w_;
    Scratch<float> scratch_, block_;
};

}  // namespace
}  // namespace blur
}  // namespace imge

extern "C" {

IMF_ERROR imfBlurGaussian(IMF_BITMAP *src, IMF_BITMAP *dst, const IMF_RECT *area, TLong filter_size) {
    const bool ok = filter_size >= 2 && filter_size <= imge::blur::kLargestGauss;
    imge::blur::GaussKernel kernel(ok ? static_cast<int>(filter_size) : 2);
    return imge::RunRowFilter(src, dst, area, ok ? static_cast<int>(filter_size) : 1, ok, kernel);
}

}  // extern "C"
