// Linear neighbourhood filters beside OpenCV (cv::filter2D with the same
// integer kernel, cv::blur of the same size), single-threaded, on the
// 4000 x 3000 RGB benchmark image. Our filters allocate their result bitmap
// each time; OpenCV writes into a preallocated matrix.
#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <functional>
#include <string>

#include "bench_common.h"
#include "libformat.h"
#include "libtools.h"

namespace {

using Op = std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *)>;

void RunOurs(benchmark::State &state, const Op &op) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    for (auto _ : state) {
        IMF_BITMAP d;
        if (op(&b, &d) != IMF_NOERROR) state.SkipWithError("filter failed");
        benchmark::DoNotOptimize(d.Data);
        imfFree(&d);
    }
    imfFree(&b);
}

void RunCvFilter(benchmark::State &state, const cv::Mat &kernel, double delta) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    cv::Mat out(b.Height, b.Width, CV_8UC3);
    for (auto _ : state) {
        cv::filter2D(m, out, -1, kernel, cv::Point(-1, -1), delta, cv::BORDER_REPLICATE);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

void RunCvBlur(benchmark::State &state, int n) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    cv::Mat out(b.Height, b.Width, CV_8UC3);
    for (auto _ : state) {
        cv::blur(m, out, cv::Size(n, n), cv::Point(-1, -1), cv::BORDER_REPLICATE);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

cv::Mat Kernel3(std::initializer_list<float> k) {
    cv::Mat m(3, 3, CV_32F);
    int i = 0;
    for (float v : k) m.at<float>(i / 3, i % 3) = v, ++i;
    return m;
}

void Register(const std::string &name, Op op) {
    benchmark::RegisterBenchmark(name.c_str(), [op](benchmark::State &s) { RunOurs(s, op); })
        ->Unit(benchmark::kMillisecond);
}

// The part of every filter's time that OpenCV's preallocated output does not
// pay: a new result bitmap (huge pages, as the base allocator asks for them), its pages
// touched once.
void BM_NewResult(benchmark::State &state) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    for (auto _ : state) {
        IMF_BITMAP d;
        imfAllock(&d, b.Type, b.Pack, b.Width, b.Height);
        for (TLong y = 0; y < d.Height; ++y) d.Data[static_cast<std::size_t>(y) * d.BytesPerLine] = 1;
        for (std::size_t i = 0; i < static_cast<std::size_t>(d.BytesPerLine) * d.Height; i += 4096) d.Data[i] = 1;
        benchmark::DoNotOptimize(d.Data);
        imfFree(&d);
    }
    imfFree(&b);
}

struct Registrar {
    Registrar() {
        benchmark::RegisterBenchmark("filters/new result bitmap", BM_NewResult)->Unit(benchmark::kMillisecond);
        // Peers for the 3 x 3 members: the edge-detect kernel and a
        // 3 x 3 kernel with a division (the blur at 100 %).
        const cv::Mat edge = Kernel3({-1, -1, -1, -1, 8, -1, -1, -1, -1});
        const cv::Mat blur = Kernel3({100, 200, 100, 200, 25, 200, 100, 200, 100}) / 1225.0;
        benchmark::RegisterBenchmark("filters/cv::filter2D 3x3",
                                     [edge](benchmark::State &s) { RunCvFilter(s, edge, 128); })
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("filters/cv::filter2D 3x3 divided",
                                     [blur](benchmark::State &s) { RunCvFilter(s, blur, 0); })
            ->Unit(benchmark::kMillisecond);
        cv::Mat k7(7, 7, CV_32F);
        for (int i = 0; i < 49; ++i) k7.at<float>(i / 7, i % 7) = static_cast<float>((i * 7) % 11 - 3);
        benchmark::RegisterBenchmark("filters/cv::filter2D 7x7",
                                     [k7](benchmark::State &s) { RunCvFilter(s, k7 / 25.0, 0); })
            ->Unit(benchmark::kMillisecond);
        for (int n : {2, 3, 7, 15})
            benchmark::RegisterBenchmark(("filters/cv::blur " + std::to_string(n)).c_str(),
                                         [n](benchmark::State &s) { RunCvBlur(s, n); })
                ->Unit(benchmark::kMillisecond);

        struct Named { const char *name; IMF_ERROR (*f)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *); };
        const Named named[] = {
            {"imfEnhanceDetail", imfEnhanceDetail}, {"imfEnhanceFocus", imfEnhanceFocus},
            {"imfFocusRestoration", imfFocusRestoration}, {"imfEdgeDetectLight", imfEdgeDetectLight},
            {"imfEdgeDetectMedium", imfEdgeDetectMedium}, {"imfEdgeDetectHeavy", imfEdgeDetectHeavy},
            {"imfEmboss", imfEmboss}, {"imfEmbossMore", imfEmbossMore},
        };
        for (const Named &n : named) {
            auto f = n.f;
            Register(std::string("filters/") + n.name, [f](IMF_BITMAP *s, IMF_BITMAP *d) { return f(s, d, nullptr); });
            bench::AddRatio(std::string("filters/") + n.name, "filters/cv::filter2D 3x3", 1.0);
        }
        Register("filters/imfConvolveIndex sharpen",
                 [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolveIndex(s, d, nullptr, IMF_FilterSharpen); });
        bench::AddRatio("filters/imfConvolveIndex sharpen", "filters/cv::filter2D 3x3", 1.0);
        Register("filters/imfSharpen 50", [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSharpen(s, d, nullptr, 50); });
        Register("filters/imfBlur 50", [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfBlur(s, d, nullptr, 50); });
        Register("filters/imfSoften 50", [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfSoften(s, d, nullptr, 50); });
        Register("filters/imfEdge 50", [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfEdge(s, d, nullptr, 50); });
        for (const char *n : {"filters/imfSharpen 50", "filters/imfBlur 50", "filters/imfSoften 50", "filters/imfEdge 50"})
            bench::AddRatio(n, "filters/cv::filter2D 3x3 divided", 1.0);

        IMG_FILTER f7{};
        f7.Size = 7;
        for (int i = 0; i < 49; ++i) f7.Matrix[i] = static_cast<IMG_INT16>((i * 7) % 11 - 3);
        f7.Divisor = 25;
        Register("filters/imfConvolve 7x7", [f7](IMF_BITMAP *s, IMF_BITMAP *d) { return imfConvolve(s, d, nullptr, &f7); });
        bench::AddRatio("filters/imfConvolve 7x7", "filters/cv::filter2D 7x7", 1.5);

        for (int n : {2, 3, 7, 15}) {
            const std::string ours = "filters/imfAverage " + std::to_string(n);
            Register(ours, [n](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAverage(s, d, nullptr, n); });
            bench::AddRatio(ours, "filters/cv::blur " + std::to_string(n), 1.0);
        }

        Register("filters/imfReduceNoise", [](IMF_BITMAP *s, IMF_BITMAP *d) { return imfReduceNoise(s, d, nullptr); });
        bench::AddRatio("filters/imfReduceNoise", "filters/imfEdgeDetectMedium", 1.5);
    }
} registrar;

}  // namespace
