// Table operations beside memcpy and OpenCV's cv::LUT on the same buffer.
#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench_common.h"
#include "libformat.h"
#include "libtools.h"

namespace {

void BM_Memcpy(benchmark::State &state) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    const std::size_t n = static_cast<std::size_t>(b.BytesPerLine) * b.Height;
    std::vector<TUbyte> out(n);
    for (auto _ : state) {
        std::memcpy(out.data(), b.Data, n);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

void BM_CvLut(benchmark::State &state) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
    cv::Mat lut(1, 256, CV_8U);
    for (int v = 0; v < 256; ++v) lut.at<uchar>(v) = static_cast<uchar>((v * 7 + 13) & 255);
    for (auto _ : state) {
        cv::LUT(m, lut, m);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

void BM_ImfNegate(benchmark::State &state) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    for (auto _ : state) {
        imfNegate(&b, nullptr, nullptr);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

void BM_ImfApplyLut(benchmark::State &state) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    TUbyte t[256];
    for (int v = 0; v < 256; ++v) t[v] = static_cast<TUbyte>((v * 7 + 13) & 255);
    for (auto _ : state) {
        imfApplyLut(&b, nullptr, nullptr, t);
        benchmark::ClobberMemory();
    }
    imfFree(&b);
}

struct Register {
    Register() {
        // The table's row: a new result each call on both sides.
        bench::AddPeerRow("imfApplyLut", [] {
            IMF_BITMAP src = bench::PeerPhoto(), out;  // read only
            TUbyte t[256];
            for (int v = 0; v < 256; ++v) t[v] = static_cast<TUbyte>((v * 7 + 13) & 255);
            if (imfApplyLut(&src, &out, nullptr, t) != IMF_NOERROR) std::abort();
            benchmark::DoNotOptimize(out.Data);
            imfFree(&out);
        }, "cv::LUT", [] {
            const IMF_BITMAP &b = bench::PeerPhoto();
            const cv::Mat m(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
            cv::Mat lut(1, 256, CV_8U), out;
            for (int v = 0; v < 256; ++v) lut.at<uchar>(v) = static_cast<uchar>((v * 7 + 13) & 255);
            cv::LUT(m, lut, out);
            benchmark::DoNotOptimize(out.data);
        }, 1.0);
        benchmark::RegisterBenchmark("lut/memcpy", BM_Memcpy)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("lut/cv::LUT", BM_CvLut)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("lut/imfNegate", BM_ImfNegate)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("lut/imfApplyLut", BM_ImfApplyLut)->Unit(benchmark::kMillisecond);
        bench::AddRatio("lut/imfNegate", "lut/cv::LUT", 1.2);
        bench::AddRatio("lut/imfApplyLut", "lut/cv::LUT", 1.2);
        bench::AddRatio("lut/imfNegate", "lut/memcpy", 2.0);
        bench::AddRatio("lut/imfApplyLut", "lut/memcpy", 2.0);
    }
} reg;

}  // namespace
