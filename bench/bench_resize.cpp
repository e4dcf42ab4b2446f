// The base library's resampler beside OpenCV's area resampling
// (cv::resize INTER_AREA, single-threaded) on the 4000 x 3000 RGB photo:
// a whole factor (to 1000 x 750) and a fractional one (to 1600 x 1200).
#include <benchmark/benchmark.h>

#include <opencv2/imgproc.hpp>

#include "bench_common.h"
#include "libtools.h"

namespace {

void Ours(benchmark::State &state, int w, int h) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    for (auto _ : state) {
        IMF_BITMAP d;
        imfResize(&b, &d, w, h, 0);
        benchmark::DoNotOptimize(d.Data);
        imfFree(&d);
    }
    imfFree(&b);
}

void Peer(benchmark::State &state, int w, int h) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    for (auto _ : state) {
        cv::Mat out;  // a new result each time, as imfResize makes one
        cv::resize(m, out, cv::Size(w, h), 0, 0, cv::INTER_AREA);
        benchmark::DoNotOptimize(out.data);
    }
    imfFree(&b);
}

struct Registrar {
    Registrar() {
        for (auto [w, h] : {std::pair<int, int>{1000, 750}, {1600, 1200}}) {
            const std::string size = std::to_string(w) + "x" + std::to_string(h);
            benchmark::RegisterBenchmark(("resize/imfResize " + size).c_str(),
                                         [w = w, h = h](benchmark::State &s) { Ours(s, w, h); })
                ->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark(("resize/cv::resize INTER_AREA " + size).c_str(),
                                         [w = w, h = h](benchmark::State &s) { Peer(s, w, h); })
                ->Unit(benchmark::kMillisecond);
            bench::AddRatio("resize/imfResize " + size, "resize/cv::resize INTER_AREA " + size, 1.0);
        }
    }
} registrar;

}  // namespace
