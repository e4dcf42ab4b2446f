// Rank filters, Gaussian blur and drop shadow beside OpenCV's erode, dilate,
// medianBlur and GaussianBlur on the same 4000 x 3000 RGB image,
// single-threaded.
#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_common.h"
#include "libformat.h"
#include "libtools.h"
#ifdef IMGE_BENCH_HAVE_REFERENCE
#include "reference/rank_reference.h"
#endif

namespace {

using RankFn = IMF_ERROR (*)(IMF_BITMAP *, IMF_BITMAP *, const IMF_RECT *, TLong);

cv::Mat View(IMF_BITMAP &b) {
    return cv::Mat(b.Height, b.Width, CV_8UC(b.BytesPerPixel), b.Data, static_cast<std::size_t>(b.BytesPerLine));
}

void Ours(benchmark::State &state, RankFn fn, int n) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    for (auto _ : state) {
        IMF_BITMAP out;
        if (fn(&b, &out, nullptr, n) != IMF_NOERROR) state.SkipWithError("failed");
        benchmark::DoNotOptimize(out.Data);
        imfFree(&out);
    }
    imfFree(&b);
}

enum class Peer { kErode, kDilate, kMedian, kGauss };

// The peer's call into a new result image, as our operations make one.
cv::Mat RunPeer(Peer peer, const cv::Mat &m, const cv::Mat &kernel, int n) {
    cv::Mat out;
    switch (peer) {
    case Peer::kErode: cv::erode(m, out, kernel, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE); break;
    case Peer::kDilate: cv::dilate(m, out, kernel, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE); break;
    case Peer::kMedian: cv::medianBlur(m, out, n); break;
    case Peer::kGauss:
        cv::GaussianBlur(m, out, cv::Size(n, n), 0.300387 * n, 0.300387 * n, cv::BORDER_REPLICATE);
        break;
    }
    return out;
}

// The peer computes the same result into a new image each time, as our
// operations return a new bitmap: both pay for fresh pages.
void OpenCv(benchmark::State &state, Peer peer, int n) {
    cv::setNumThreads(1);
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    cv::Mat m = View(b);
    const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(n, n));
    for (auto _ : state) {
        const cv::Mat out = RunPeer(peer, m, kernel, n);
        benchmark::DoNotOptimize(out.data);
    }
    imfFree(&b);
}

// The drop shadow's floor: one copy of its canvas and one blur of the tile.
// `fresh`: the copy goes into a newly allocated buffer each time (as the
// shadow's canvas is a new bitmap); otherwise into the same warm buffer.
constexpr int kShadowSize = 4, kShadowDepth = 6;

void ShadowFloor(benchmark::State &state, bool fresh) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    const int margin = 5 * kShadowSize + 2 * kShadowDepth;
    const std::size_t canvas = static_cast<std::size_t>(b.Width + margin) * 3 * (b.Height + margin);
    std::vector<TUbyte> from(canvas, 1), warm(canvas);
    IMF_BITMAP tile;
    imfAllock(&tile, IMF_GREY, 4, 64, 64);
    for (auto _ : state) {
        TUbyte *to = fresh ? static_cast<TUbyte *>(std::malloc(canvas)) : warm.data();
        std::memcpy(to, from.data(), canvas);
        benchmark::DoNotOptimize(to);
        if (fresh) std::free(to);
        imfBlurGaussian(&tile, nullptr, nullptr, 7);
        benchmark::ClobberMemory();
    }
    imfFree(&tile);
    imfFree(&b);
}

void Shadow(benchmark::State &state) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    for (auto _ : state) {
        IMF_BITMAP out;
        if (imfDropShadow(&b, &out, nullptr, kShadowSize, kShadowDepth, 0) != IMF_NOERROR) state.SkipWithError("failed");
        benchmark::DoNotOptimize(out.Data);
        imfFree(&out);
    }
    imfFree(&b);
}

#ifdef IMGE_BENCH_HAVE_REFERENCE
// Not a timing: the share of bytes in which the blur differs from the literal
// formula on the benchmark image (every tenth row, all of it being slow to
// compute literally), as counters.
void GaussDiffers(benchmark::State &state, int n) {
    IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    IMF_BITMAP fast, want;
    imfBlurGaussian(&b, &fast, nullptr, n);
    imfCopy(&b, &want, nullptr);
    long long total = 0, differ = 0, worst = 0;
    for (auto _ : state) {
        for (int y = 0; y < b.Height; y += 10) {
            reference::GaussianBlur(b, &want, IMF_RECT{0, y, b.Width, 1}, n);
            for (int i = 0; i < b.Width * 3; ++i) {
                const long long d = std::abs(int(fast.Data[y * fast.BytesPerLine + i]) - int(want.Data[y * want.BytesPerLine + i]));
                differ += d != 0;
                worst = d > worst ? d : worst;
                ++total;
            }
        }
    }
    state.counters["differ_pct"] = 100.0 * differ / total;
    state.counters["max_abs_diff"] = static_cast<double>(worst);
    imfFree(&fast);
    imfFree(&want);
    imfFree(&b);
}
#endif

std::string Name(const char *op, int n) { return std::string("rank/") + op + "/" + std::to_string(n); }

void Add(const std::string &name, void (*fn)(benchmark::State &, RankFn, int), RankFn f, int n) {
    benchmark::RegisterBenchmark(name.c_str(), fn, f, n)->Unit(benchmark::kMillisecond);
}
void AddCv(const std::string &name, Peer peer, int n) {
    benchmark::RegisterBenchmark(name.c_str(), OpenCv, peer, n)->Unit(benchmark::kMillisecond);
}

// The rows of the side-by-side table: a new result each call on both sides.
void AddPeerRows() {
    const IMF_BITMAP *photo = &bench::PeerPhoto();
    auto ours = [photo](RankFn fn, int n) {
        return [photo, fn, n] {
            IMF_BITMAP src = *photo, out;  // read only
            if (fn(&src, &out, nullptr, n) != IMF_NOERROR) std::abort();
            benchmark::DoNotOptimize(out.Data);
            imfFree(&out);
        };
    };
    auto peer = [photo](Peer p, int n) {
        return [photo, p, n] {
            IMF_BITMAP src = *photo;
            const cv::Mat m = View(src);
            const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(n, n));
            const cv::Mat out = RunPeer(p, m, kernel, n);
            benchmark::DoNotOptimize(out.data);
        };
    };
    bench::AddPeerRow("imfMinimum 3", ours(imfMinimum, 3), "cv::erode 3", peer(Peer::kErode, 3), 1.0);
    bench::AddPeerRow("imfMaximum 3", ours(imfMaximum, 3), "cv::dilate 3", peer(Peer::kDilate, 3), 1.0);
    bench::AddPeerRow("imfMedianBox 3", ours(imfMedianBox, 3), "cv::medianBlur 3", peer(Peer::kMedian, 3), 1.0);
    bench::AddPeerRow("imfMedianBox 15", ours(imfMedianBox, 15), "cv::medianBlur 15", peer(Peer::kMedian, 15), 0.8);
    for (int n : {7, 25})
        bench::AddPeerRow("imfBlurGaussian " + std::to_string(n), ours(imfBlurGaussian, n),
                          "cv::GaussianBlur " + std::to_string(n), peer(Peer::kGauss, n), 1.0);
}

struct Register {
    Register() {
        AddPeerRows();
        for (int n : {2, 3, 5, 8, 15}) {
            Add(Name("imfMinimum", n), Ours, imfMinimum, n);
            AddCv(Name("cv::erode", n), Peer::kErode, n);
            Add(Name("imfMaximum", n), Ours, imfMaximum, n);
            AddCv(Name("cv::dilate", n), Peer::kDilate, n);
            bench::AddRatio(Name("imfMinimum", n), Name("cv::erode", n), 1.0);
            bench::AddRatio(Name("imfMaximum", n), Name("cv::dilate", n), 1.0);
        }
        // Odd sizes against medianBlur of the same size, even ones against
        // the next odd size.
        for (int n : {3, 5, 7, 9, 15}) AddCv(Name("cv::medianBlur", n), Peer::kMedian, n);
        for (int n : {3, 4, 5, 7, 8, 9, 12, 15}) {
            Add(Name("imfMedianBox", n), Ours, imfMedianBox, n);
            const int peer = n % 2 ? n : n + 1;
            bench::AddRatio(Name("imfMedianBox", n), Name("cv::medianBlur", peer > 9 && peer < 15 ? 15 : peer),
                            n <= 5 ? 1.5 : 2.0);
        }
        for (int n : {3, 5, 9, 15}) {
            Add(Name("imfMedianCross", n), Ours, imfMedianCross, n);
            bench::AddRatio(Name("imfMedianCross", n), Name("imfMedianBox", n), 3.0);
        }
        for (int n : {3, 7, 25}) {
            Add(Name("imfBlurGaussian", n), Ours, imfBlurGaussian, n);
            AddCv(Name("cv::GaussianBlur", n), Peer::kGauss, n);
            bench::AddRatio(Name("imfBlurGaussian", n), Name("cv::GaussianBlur", n), 3.0);
        }
        bench::AddRatio(Name("imfBlurGaussian", 7), Name("imfBlurGaussian", 25), 1.0);
#ifdef IMGE_BENCH_HAVE_REFERENCE
        for (int n : {3, 7, 25})
            benchmark::RegisterBenchmark(Name("gauss differs from reference", n).c_str(), GaussDiffers, n)
                ->Iterations(1)
                ->Unit(benchmark::kMillisecond);
#endif
        benchmark::RegisterBenchmark("rank/imfDropShadow", Shadow)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("rank/new canvas memcpy + tile blur", ShadowFloor, true)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("rank/warm canvas memcpy + tile blur", ShadowFloor, false)
            ->Unit(benchmark::kMillisecond);
        bench::AddRatio("rank/imfDropShadow", "rank/new canvas memcpy + tile blur", 3.0);
        bench::AddRatio("rank/imfDropShadow", "rank/warm canvas memcpy + tile blur", 3.0);
    }
} reg;

}  // namespace
