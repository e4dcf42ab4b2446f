// The user kernel and the box mean against OpenCV, whose correlation with
// replicated borders places a kernel of side n (even sides included) at
// x - n/2 .. x - n/2 + n - 1 like ours. OpenCV gives the exact integer sums
// (single precision, all below 2^24); the truncating division, the bias and
// the clamp are applied here.
#ifdef IMGE_HAVE_OPENCV
#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <random>

#include "libformat.h"
#include "support/bitmaps.h"

using testing_support::OwnedImf;

namespace {

int CvTypeOf(int bpp) { return bpp == 1 ? CV_8UC1 : (bpp == 3 ? CV_8UC3 : CV_8UC4); }

// Compares dst (our result) with the sums OpenCV computed, byte by byte.
void ExpectSums(const IMF_BITMAP &dst, const cv::Mat &sums, int divisor, int bias) {
    const int bpp = dst.BytesPerPixel;
    for (int y = 0; y < dst.Height; ++y)
        for (int i = 0; i < dst.Width * bpp; ++i) {
            const int sum = static_cast<int>(sums.ptr<float>(y)[i]);
            int v = sum / divisor + bias;
            v = v < 0 ? 0 : (v > 255 ? 255 : v);
            ASSERT_EQ(dst.Data[static_cast<long long>(y) * dst.BytesPerLine + i], v) << "row " << y << " byte " << i;
        }
}

TEST(OpenCvCrossCheck, UserKernelsAgreeWithFilter2D) {
    cv::setNumThreads(1);
    std::mt19937 rng(60);
    std::uniform_int_distribution<int> size(1, 40), side(1, 7), coef(-20, 20), div(1, 30), bias(-100, 100);
    const unsigned types[] = {IMF_GREY, IMF_RGB, IMF_BGRA};
    for (int iter = 0; iter < 60; ++iter) {
        const unsigned type = types[iter % 3];
        const int w = size(rng), h = size(rng);
        OwnedImf src, dst;
        testing_support::MakeRandom(rng, type, w, h, 1, &src);
        IMG_FILTER f{};
        f.Size = static_cast<IMG_INT16>(side(rng));
        cv::Mat kernel(f.Size, f.Size, CV_32F);
        for (int k = 0; k < f.Size; ++k)
            for (int j = 0; j < f.Size; ++j) {
                f.Matrix[k * f.Size + j] = static_cast<IMG_INT16>(coef(rng));
                kernel.at<float>(k, j) = f.Matrix[k * f.Size + j];
            }
        f.Divisor = static_cast<IMG_INT16>(iter % 2 ? div(rng) : -div(rng));
        f.Bias = static_cast<IMG_INT16>(bias(rng));
        SCOPED_TRACE("size " + std::to_string(f.Size) + " " + testing_support::TypeName(type));
        ASSERT_EQ(imfConvolve(src.get(), dst.get(), nullptr, &f), IMF_NOERROR);
        const cv::Mat in(h, w, CvTypeOf(src->BytesPerPixel), src->Data, static_cast<size_t>(src->BytesPerLine));
        cv::Mat sums;
        cv::filter2D(in, sums, CV_32F, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        ExpectSums(*dst.get(), sums.reshape(1, h), f.Divisor, f.Bias);
    }
}

TEST(OpenCvCrossCheck, BoxMeanAgreesWithUnnormalisedBoxFilter) {
    cv::setNumThreads(1);
    std::mt19937 rng(61);
    std::uniform_int_distribution<int> size(1, 60), side(2, 15);
    const unsigned types[] = {IMF_GREY, IMF_BGR, IMF_CMYK};
    for (int iter = 0; iter < 45; ++iter) {
        const unsigned type = types[iter % 3];
        const int w = size(rng), h = size(rng), n = side(rng);
        OwnedImf src, dst;
        testing_support::MakeRandom(rng, type, w, h, 1, &src);
        SCOPED_TRACE("n " + std::to_string(n) + " " + testing_support::TypeName(type));
        ASSERT_EQ(imfAverage(src.get(), dst.get(), nullptr, n), IMF_NOERROR);
        const cv::Mat in(h, w, CvTypeOf(src->BytesPerPixel), src->Data, static_cast<size_t>(src->BytesPerLine));
        cv::Mat sums;
        cv::boxFilter(in, sums, CV_32F, cv::Size(n, n), cv::Point(-1, -1), false, cv::BORDER_REPLICATE);
        ExpectSums(*dst.get(), sums.reshape(1, h), n * n, 0);
    }
}

}  // namespace
#endif  // IMGE_HAVE_OPENCV
