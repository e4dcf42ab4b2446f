// Channel operations, colour counting, HLS, sepia and noise on the 4000 x 3000
// photo, beside memcpy of the same buffer, the plain references and the plain
// loops.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include <hwy/targets.h>
#include <opencv2/imgproc.hpp>

#include "bench_common.h"
#include "libformat.h"
#include "libimge.h"
#include "libtools.h"
#ifdef IMGE_BENCH_HAVE_REFERENCE
#include "reference/colour_reference.h"
#endif

namespace {

const IMF_BITMAP &Photo() {
    static IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
    return b;
}

void Memcpy(benchmark::State &state) {
    const IMF_BITMAP &b = Photo();
    const std::size_t n = static_cast<std::size_t>(b.BytesPerLine) * b.Height;
    std::vector<TUbyte> out(n);
    for (auto _ : state) {
        std::memcpy(out.data(), b.Data, n);
        benchmark::ClobberMemory();
    }
}

// What copying the image costs an application: a new buffer each time
// (allocated, filled, released), so the page faults of the fresh buffer are
// paid as they are by every operation that makes a new bitmap.
void MemcpyFresh(benchmark::State &state) {
    const IMF_BITMAP &b = Photo();
    const std::size_t n = static_cast<std::size_t>(b.BytesPerLine) * b.Height;
    for (auto _ : state) {
        void *out = std::malloc(n);
        if (!out) std::abort();
        std::memcpy(out, b.Data, n);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
}

// The same through the base library's allocator, which asks for huge pages
// for large blocks: the fresh bitmap's faults are 2 MiB ones.
void MemcpyFreshBitmap(benchmark::State &state) {
    const IMF_BITMAP &b = Photo();
    const std::size_t n = static_cast<std::size_t>(b.BytesPerLine) * b.Height;
    for (auto _ : state) {
        IMF_BITMAP out{};
        if (!imfAllock(&out, b.Type, b.Pack, b.Width, b.Height)) std::abort();
        std::memcpy(out.Data, b.Data, n);
        benchmark::DoNotOptimize(out.Data);
        benchmark::ClobberMemory();
        imfFree(&out);
    }
}

// An operation writing a new bitmap into a destination, released each time.
template <typename Op>
void WithDst(benchmark::State &state, Op op) {
    IMF_BITMAP src = Photo();  // read only: the operations below leave it alone
    for (auto _ : state) {
        IMF_BITMAP dst{};
        op(&src, &dst);
        benchmark::DoNotOptimize(dst.Data);
        imfFree(&dst);
    }
}

// An in-place public operation on a fresh copy each time (copy not timed).
template <typename Op>
void OnPublicCopy(benchmark::State &state, Op op) {
    IMG_BITMAP *img = imgCreateBitmap(IMG_RGB, bench::kWidth, bench::kHeight);
    for (auto _ : state) {
        state.PauseTiming();
        for (int y = 0; y < img->Height; ++y)
            std::memcpy(img->Data + static_cast<std::size_t>(y) * img->BytesPerLine,
                        Photo().Data + static_cast<std::size_t>(y) * Photo().BytesPerLine, img->Width * 3u);
        state.ResumeTiming();
        op(img);
        benchmark::ClobberMemory();
    }
    state.counters["MPix/s"] = benchmark::Counter(double(bench::kWidth) * bench::kHeight * state.iterations() / 1e6,
                                                  benchmark::Counter::kIsRate);
    imgFreeBitmap(img);
}

cv::Mat PeerView() {
    const IMF_BITMAP &b = bench::PeerPhoto();
    return cv::Mat(b.Height, b.Width, CV_8UC3, b.Data, static_cast<std::size_t>(b.BytesPerLine));
}

// The colour rows of the side-by-side table (see bench_common.h): our
// operation into a new bitmap against cv::cvtColor into a new matrix.
void AddPeerRows() {
    using Op = IMF_ERROR (*)(IMF_BITMAP *, IMF_BITMAP *);
    auto ours = [](Op op) {
        return [op] {
            IMF_BITMAP src = bench::PeerPhoto(), out;  // read only
            if (op(&src, &out) != IMF_NOERROR) std::abort();
            benchmark::DoNotOptimize(out.Data);
            imfFree(&out);
        };
    };
    auto convert = [](std::initializer_list<int> codes) {
        const std::vector<int> steps(codes);
        return [steps] {
            cv::Mat in = PeerView(), out;
            for (int code : steps) {
                cv::cvtColor(in, out, code);
                in = out;
                out = cv::Mat();
            }
            benchmark::DoNotOptimize(in.data);
        };
    };
    bench::AddPeerRow("imfSwapColors", ours([](IMF_BITMAP *s, IMF_BITMAP *d) {
                          return imfSwapColors(s, d, nullptr, IMF_SwapColors_BGR);
                      }), "cv::cvtColor RGB2BGR", convert({cv::COLOR_RGB2BGR}), 1.0);
    bench::AddPeerRow("imfDesaturate", ours([](IMF_BITMAP *s, IMF_BITMAP *d) { return imfDesaturate(s, d, nullptr); }),
                      "cv::cvtColor RGB2GRAY", convert({cv::COLOR_RGB2GRAY}), 1.0);
    // Ours adjusts into a clone of the public bitmap; the peer converts to
    // HLS and back, each step into a new matrix.
    bench::AddPeerRow("imgAdjustHLS", [] {
                          static IMG_BITMAP *img = [] {
                              IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, bench::kWidth, bench::kHeight);
                              const IMF_BITMAP &p = bench::PeerPhoto();
                              for (int y = 0; y < b->Height; ++y)
                                  std::memcpy(b->Data + static_cast<std::size_t>(y) * b->BytesPerLine,
                                              p.Data + static_cast<std::size_t>(y) * p.BytesPerLine, b->Width * 3u);
                              return b;
                          }();
                          IMG_BITMAP *out = nullptr;
                          if (imgAdjustHLS(img, &out, 10, 5, 20) != IMG_NO_ERROR) std::abort();
                          benchmark::DoNotOptimize(out->Data);
                          imgFreeBitmap(out);
                      },
                      "cv::cvtColor RGB2HLS2RGB", convert({cv::COLOR_RGB2HLS, cv::COLOR_HLS2RGB}), 1.0);
    // Gaussian noise against OpenCV's idiom for it: cv::randn into 16-bit
    // offsets, then a saturating cv::add into a new 8-bit matrix.
    bench::AddPeerRow("imfAddGaussianNoise 10",
                      ours([](IMF_BITMAP *s, IMF_BITMAP *d) { return imfAddGaussianNoise(s, d, nullptr, 10.0); }),
                      "cv::randn+add", [] {
                          const cv::Mat in = PeerView();
                          cv::Mat noise(in.size(), CV_16SC3), out;
                          cv::randn(noise, 0.0, 10.0);
                          cv::add(in, noise, out, cv::noArray(), CV_8U);
                          benchmark::DoNotOptimize(out.data);
                      }, 1.0);
}

struct Register {
    Register() {
        AddPeerRows();
        auto ms = [](benchmark::internal::Benchmark *b) { b->Unit(benchmark::kMillisecond); };
        ms(benchmark::RegisterBenchmark("colour/memcpy", Memcpy));
        ms(benchmark::RegisterBenchmark("colour/memcpy_fresh", MemcpyFresh));
        ms(benchmark::RegisterBenchmark("colour/memcpy_fresh_bitmap", MemcpyFreshBitmap));
        ms(benchmark::RegisterBenchmark("colour/imfDesaturate", [](benchmark::State &s) {
            WithDst(s, [](IMF_BITMAP *a, IMF_BITMAP *d) { imfDesaturate(a, d, nullptr); });
        }));
        ms(benchmark::RegisterBenchmark("colour/imfSwapColors", [](benchmark::State &s) {
            WithDst(s, [](IMF_BITMAP *a, IMF_BITMAP *d) { imfSwapColors(a, d, nullptr, IMF_SwapColors_GBR); });
        }));
        ms(benchmark::RegisterBenchmark("colour/imfExtractChannel", [](benchmark::State &s) {
            WithDst(s, [](IMF_BITMAP *a, IMF_BITMAP *d) { imfExtractChannel(a, d, 1); });
        }));
        ms(benchmark::RegisterBenchmark("colour/imfAdjustShadowHighlight", [](benchmark::State &s) {
            WithDst(s, [](IMF_BITMAP *a, IMF_BITMAP *d) { imfAdjustShadowHighlight(a, d, nullptr, 40, 30); });
        }));
        // In place, as an application adjusts its own picture: the pixels are
        // rewritten in the source's buffer (a fresh copy each run, not timed).
        ms(benchmark::RegisterBenchmark("colour/imfAdjustShadowHighlight in place", [](benchmark::State &s) {
            IMF_BITMAP b{};
            if (!imfAllock(&b, IMF_RGB, Photo().Pack, Photo().Width, Photo().Height)) std::abort();
            const std::size_t n = static_cast<std::size_t>(b.BytesPerLine) * b.Height;
            for (auto _ : s) {
                s.PauseTiming();
                std::memcpy(b.Data, Photo().Data, n);
                s.ResumeTiming();
                imfAdjustShadowHighlight(&b, nullptr, nullptr, 40, 30);
                benchmark::ClobberMemory();
            }
            imfFree(&b);
        }));
        ms(benchmark::RegisterBenchmark("colour/imfGetCountColors", [](benchmark::State &s) {
            for (auto _ : s) benchmark::DoNotOptimize(imfGetCountColors(&Photo(), 0));
        }));
        ms(benchmark::RegisterBenchmark("colour/imgAdjustHLS", [](benchmark::State &s) {
            OnPublicCopy(s, [](IMG_BITMAP *b) { imgAdjustHLS(b, nullptr, 10, 5, 20); });
        }));
        ms(benchmark::RegisterBenchmark("colour/imgSepia", [](benchmark::State &s) {
            OnPublicCopy(s, [](IMG_BITMAP *b) { imgSepia(b, nullptr, 80); });
        }));
        ms(benchmark::RegisterBenchmark("colour/imgSepiaEx", [](benchmark::State &s) {
            const IMG_COLOR c{240, 200, 150, 0};
            OnPublicCopy(s, [&c](IMG_BITMAP *b) { imgSepiaEx(b, nullptr, 60, &c); });
        }));
        const char *noise[4] = {"uniform", "gaussian", "laplacian", "poisson"};
        for (int t = 0; t < 4; ++t)
            ms(benchmark::RegisterBenchmark((std::string("colour/imfNoise/") + noise[t]).c_str(),
                                            [t](benchmark::State &s) {
                WithDst(s, [t](IMF_BITMAP *a, IMF_BITMAP *d) {
                    imfNoise(a, d, nullptr, t == 3 ? 1.0 : 20.0, static_cast<TWord>(t));
                });
                s.counters["MPix/s"] = benchmark::Counter(double(bench::kWidth) * bench::kHeight * s.iterations() / 1e6,
                                                          benchmark::Counter::kIsRate);
            }));
        // The operations that make a new bitmap against the warm copy and
        // against a copy into a new bitmap of the same allocator; those that
        // make none (counting, sepia in place) against the warm copy.
        for (const char *peer : {"colour/memcpy", "colour/memcpy_fresh_bitmap"})
            for (const char *op : {"imfDesaturate", "imfSwapColors", "imfExtractChannel", "imfAdjustShadowHighlight"})
                bench::AddRatio(std::string("colour/") + op, peer, 2.0);
        bench::AddRatio("colour/imfAdjustShadowHighlight in place", "colour/memcpy", 2.0);
        bench::AddRatio("colour/imfGetCountColors", "colour/memcpy", 4.0);
        bench::AddRatio("colour/imgSepia", "colour/memcpy", 3.0);
        bench::AddRatio("colour/imgSepiaEx", "colour/memcpy", 3.0);
#ifdef IMGE_BENCH_HAVE_REFERENCE
        ms(benchmark::RegisterBenchmark("colour/reference/CountColors", [](benchmark::State &s) {
            for (auto _ : s) benchmark::DoNotOptimize(reference::CountColors(Photo(), 0));
        }));
        ms(benchmark::RegisterBenchmark("colour/imgAdjustHLS plain loops", [](benchmark::State &s) {
            const int64_t targets = hwy::SupportedTargets();
            hwy::SetSupportedTargetsForTest(HWY_SCALAR);
            OnPublicCopy(s, [](IMG_BITMAP *b) { imgAdjustHLS(b, nullptr, 10, 5, 20); });
            hwy::SetSupportedTargetsForTest(targets);
            hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        }));
        bench::AddRatio("colour/imfGetCountColors", "colour/reference/CountColors", 1.0 / 3);
        bench::AddRatio("colour/imgAdjustHLS", "colour/imgAdjustHLS plain loops", 1.0 / 3);
#endif
    }
} reg;

}  // namespace
