// Tone curves, histograms and corrections on the 4000 x 3000 RGB photo,
// beside OpenCV's cv::LUT, cv::calcHist and cv::equalizeHist (one thread).
#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <functional>
#include <string>

#include "bench_common.h"
#include "libformat.h"
#include "libtools.h"

namespace {

using Op = std::function<IMF_ERROR(IMF_BITMAP *)>;

// Runs `op` in place on the photo of the given type.
void RunInPlace(benchmark::State &state, unsigned type, const Op &op) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, type);
    for (auto _ : state) {
        if (op(&b) != IMF_NOERROR) state.SkipWithError("operation failed");
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

// Runs `op` with a destination that is released after each run.
void RunWithDestination(benchmark::State &state, unsigned type,
                        const std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *)> &op) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, type);
    for (auto _ : state) {
        IMF_BITMAP d;
        if (op(&b, &d) != IMF_NOERROR) state.SkipWithError("operation failed");
        benchmark::ClobberMemory();
        imfFree(&d);
    }
    imfFree(&b);
}

void BM_CvLut(benchmark::State &state) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    cv::Mat lut(1, 256, CV_8U);
    for (int v = 0; v < 256; ++v) lut.at<uchar>(v) = static_cast<uchar>(v < 235 ? v + 20 : 255);
    for (auto _ : state) {
        cv::LUT(m, lut, m);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

void BM_CvCalcHist(benchmark::State &state) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    const int hist_size = 256;
    const float range[] = {0, 256};
    const float *ranges[] = {range};
    for (auto _ : state) {
        cv::Mat h[3];
        for (int c = 0; c < 3; ++c) cv::calcHist(&m, 1, &c, cv::Mat(), h[c], 1, &hist_size, ranges);
        benchmark::DoNotOptimize(h[2].data);
    }
    imfFree(&b);
}

void BM_CvEqualizeHistGrey(benchmark::State &state) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_GREY);
    cv::Mat m(b.Height, b.Width, CV_8UC1, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    for (auto _ : state) {
        cv::equalizeHist(m, m);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

void BM_AllHistogram(benchmark::State &state) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    TUlong hist[4 * 256];
    for (auto _ : state) {
        imfCreateAllHistogram(&b, hist);
        benchmark::DoNotOptimize(hist[700]);
    }
    imfFree(&b);
}

struct Named {
    const char *name;
    Op op;
};

const TLong kBalance[4] = {12, -7, 3, 0};

const Named kTables[] = {
    {"imfBrightness", [](IMF_BITMAP *b) { return imfBrightness(b, nullptr, nullptr, 20); }},
    {"imfContrast", [](IMF_BITMAP *b) { return imfContrast(b, nullptr, nullptr, 30); }},
    {"imfGamma", [](IMF_BITMAP *b) { return imfGamma(b, nullptr, nullptr, 2.2); }},
    {"imfLog", [](IMF_BITMAP *b) { return imfLog(b, nullptr, nullptr); }},
    {"imfLevels", [](IMF_BITMAP *b) { return imfLevels(b, nullptr, nullptr, 20, 230); }},
    {"imfPosterize", [](IMF_BITMAP *b) { return imfPosterize(b, nullptr, nullptr, 5); }},
    {"imfSolarize", [](IMF_BITMAP *b) { return imfSolarize(b, nullptr, nullptr, 128); }},
    {"imfAdjust", [](IMF_BITMAP *b) { return imfAdjust(b, nullptr, nullptr, 10, 20, 1.5); }},
};

struct NamedDst {
    const char *name;
    std::function<IMF_ERROR(IMF_BITMAP *, IMF_BITMAP *)> dst;
};

const NamedDst kCorrections[] = {
    {"imfEqualize", [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfEqualize(b, d, nullptr); }},
    {"imfEqualizeOnLuminance", [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfEqualizeOnLuminance(b, d, nullptr); }},
    {"imfAutoLevels", [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfAutoLevels(b, d, nullptr); }},
    {"imfNormalize", [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfNormalize(b, d, nullptr); }},
    {"imfAutoContrast", [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfAutoContrast(b, d, nullptr); }},
    {"imfBalance", [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfBalance(b, d, nullptr, kBalance); }},
};

struct Register {
    Register() {
        auto ms = benchmark::kMillisecond;
        benchmark::RegisterBenchmark("tone/cv::LUT", BM_CvLut)->Unit(ms);
        for (const Named &t : kTables) {
            const std::string name = std::string("tone/") + t.name;
            benchmark::RegisterBenchmark(name.c_str(), [&t](benchmark::State &s) { RunInPlace(s, IMF_RGB, t.op); })
                ->Unit(ms);
            bench::AddRatio(name, "tone/cv::LUT", 1.2);
        }
        // In place, a correction run on its own previous result measures a
        // picture it has already flattened (automatic contrast even finds the
        // identity); with a destination every run measures the photo itself,
        // so the corrections are timed that way, beside a table operation
        // that makes the same destination.
        benchmark::RegisterBenchmark("tone/imfBrightness dst", [](benchmark::State &s) {
            RunWithDestination(s, IMF_RGB, [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfBrightness(b, d, nullptr, 20); });
        })->Unit(ms);
        for (const NamedDst &c : kCorrections) {
            const std::string name = std::string("tone/") + c.name + " dst";
            benchmark::RegisterBenchmark(name.c_str(), [&c](benchmark::State &s) {
                RunWithDestination(s, IMF_RGB, [&c](IMF_BITMAP *b, IMF_BITMAP *d) { return c.dst(b, d); });
            })->Unit(ms);
            bench::AddRatio(name, "tone/imfBrightness dst", 2.0);
        }
        benchmark::RegisterBenchmark("tone/imfContraBrightness", [](benchmark::State &s) {
            RunInPlace(s, IMF_RGB, [](IMF_BITMAP *b) { return imfContraBrightness(b, nullptr, nullptr, 40); });
        })->Unit(ms);
        bench::AddRatio("tone/imfContraBrightness", "tone/imfBrightness", 1.5);
        benchmark::RegisterBenchmark("tone/imfGammasat", [](benchmark::State &s) {
            RunInPlace(s, IMF_RGB, [](IMF_BITMAP *b) { return imfGammasat(b, nullptr, nullptr, 1.3); });
        })->Unit(ms);
        bench::AddRatio("tone/imfGammasat", "tone/imfBrightness", 4.0);
        // Both with a new result bitmap per run: the same allocation on both sides.
        benchmark::RegisterBenchmark("tone/imfContraBrightness dst", [](benchmark::State &s) {
            RunWithDestination(s, IMF_RGB,
                               [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfContraBrightness(b, d, nullptr, 40); });
        })->Unit(ms);
        benchmark::RegisterBenchmark("tone/imfGammasat dst", [](benchmark::State &s) {
            RunWithDestination(s, IMF_RGB, [](IMF_BITMAP *b, IMF_BITMAP *d) { return imfGammasat(b, d, nullptr, 1.3); });
        })->Unit(ms);
        bench::AddRatio("tone/imfContraBrightness dst", "tone/imfBrightness dst", 1.5);
        bench::AddRatio("tone/imfGammasat dst", "tone/imfBrightness dst", 4.0);
        benchmark::RegisterBenchmark("tone/cv::calcHist x3", BM_CvCalcHist)->Unit(ms);
        benchmark::RegisterBenchmark("tone/imfCreateAllHistogram", BM_AllHistogram)->Unit(ms);
        bench::AddRatio("tone/imfCreateAllHistogram", "tone/cv::calcHist x3", 1.5);
        benchmark::RegisterBenchmark("tone/cv::equalizeHist grey", BM_CvEqualizeHistGrey)->Unit(ms);
        benchmark::RegisterBenchmark("tone/imfEqualize grey", [](benchmark::State &s) {
            RunInPlace(s, IMF_GREY, [](IMF_BITMAP *b) { return imfEqualize(b, nullptr, nullptr); });  // as cv:: does
        })->Unit(ms);
        bench::AddRatio("tone/imfEqualize grey", "tone/cv::equalizeHist grey", 1.2);
    }
} reg;

}  // namespace
