#include "bench_common.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <malloc.h>
#include <map>
#include <time.h>
#include <utility>
#include <vector>

#include "libtools.h"
#include "pixel_types.h"

namespace bench {
namespace {

struct Ratio { std::string ours, peer; double target; };

std::vector<Ratio> &Ratios() {
    static std::vector<Ratio> r;
    return r;
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs)
            if (r.run_type == Run::RT_Iteration) {
                // The fastest repetition, or the fastest single call where
                // the benchmark measured it: the machine may be shared, and
                // slower runs were disturbed.
                auto fastest = r.counters.find("fastest_cpu_ms");
                const bool ms = fastest != r.counters.end();
                units_[r.run_name.str()] = ms ? benchmark::kMillisecond : r.time_unit;
                const double t = ms ? fastest->second.value : r.GetAdjustedRealTime();
                auto it = times_.emplace(r.run_name.str(), t).first;
                it->second = std::min(it->second, t);
            }
        ConsoleReporter::ReportRuns(runs);
    }
    void PrintRatios() const {
        if (Ratios().empty()) return;
        std::printf("\n%-44s %-36s %9s %9s %7s %7s\n", "ours", "peer", "ours ms", "peer ms", "ratio",
                    "target");
        for (const Ratio &r : Ratios()) {
            auto a = times_.find(r.ours), b = times_.find(r.peer);
            if (a == times_.end() || b == times_.end()) continue;
            double q = a->second / b->second;
            std::printf("%-44s %-36s %9.2f %9.2f %7.3f %7.2f %s\n", r.ours.c_str(), r.peer.c_str(),
                        Ms(a->second, r.ours), Ms(b->second, r.peer), q, r.target, q <= r.target ? "ok" : "SLOWER");
        }
    }

private:
    double Ms(double t, const std::string &name) const {
        auto u = units_.find(name);
        return u == units_.end() ? t : t * 1e3 / benchmark::GetTimeUnitMultiplier(u->second);
    }
    std::map<std::string, double> times_;
    std::map<std::string, benchmark::TimeUnit> units_;
};

}  // namespace

void AddRatio(const std::string &ours, const std::string &peer, double target) {
    Ratios().push_back({ours, peer, target});
}

void UsePages(Pages pages) {
    if (pages == Pages::kWarm) {
        // Everything from the heap, nothing given back.
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, 1 << 30);
    } else {
        // Blocks of 1 MiB and more mapped on their own (a fixed threshold:
        // glibc would otherwise raise it after the first free), so that
        // freeing one returns its pages; whatever the warm rows left in the
        // heap is returned first.
        mallopt(M_MMAP_MAX, 65536);
        mallopt(M_MMAP_THRESHOLD, 1 << 20);
        mallopt(M_TRIM_THRESHOLD, 1 << 20);
        malloc_trim(0);
    }
}

const IMF_BITMAP &PeerPhoto() {
    static IMF_BITMAP b = MakePhoto(kWidth, kHeight, IMF_RGB);
    return b;
}

namespace {

// The calling thread's processor time (user and system, so page faults
// count) in milliseconds: unlike the wall clock it does not grow while other
// processes have the core.
double ThreadMs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) * 1e-6;
}

struct PeerRow {
    std::string row;
    Call ours;
    std::string peer_name;
    Call peer;
    double target;
};

std::vector<PeerRow> &PeerRows() {
    static std::vector<PeerRow> rows;
    return rows;
}

// Registered after every other benchmark, so that they run last: the page
// modes change the process's allocator settings for good.
void RegisterPeerRows() {
    for (const PeerRow &r : PeerRows())
        for (Pages pages : {Pages::kWarm, Pages::kCold}) {
            const std::string base = "peer/" + r.row + (pages == Pages::kWarm ? "/warm/" : "/cold/");
            for (int side = 0; side < 2; ++side) {
                Call call = side == 0 ? r.ours : r.peer;
                benchmark::RegisterBenchmark((base + (side == 0 ? "ours" : r.peer_name)).c_str(),
                                             [call, pages](benchmark::State &state) {
                                                 UsePages(pages);
                                                 call();
                                                 double fastest = 1e30;
                                                 for (auto _ : state) {
                                                     const double t0 = ThreadMs();
                                                     call();
                                                     benchmark::ClobberMemory();
                                                     fastest = std::min(fastest, ThreadMs() - t0);
                                                 }
                                                 state.counters["fastest_cpu_ms"] = fastest;
                                             })
                    ->Unit(benchmark::kMillisecond);
            }
            AddRatio(base + "ours", base + r.peer_name, r.target);
        }
}

}  // namespace

void AddPeerRow(const std::string &row, Call ours, const std::string &peer_name, Call peer, double target) {
    PeerRows().push_back({row, std::move(ours), peer_name, std::move(peer), target});
}

IMF_BITMAP MakePhoto(int width, int height, unsigned type) {
    IMF_BITMAP b;
    if (!imfAllock(&b, static_cast<TLong>(type), 1, width, height)) std::abort();
    const int bpp = b.BytesPerPixel;
    uint32_t seed = 12345;
    for (int y = 0; y < height; ++y) {
        TUbyte *row = b.Data + static_cast<long long>(y) * b.BytesPerLine;
        for (int x = 0; x < width; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int noise = static_cast<int>(seed >> 28) - 8;
            const double fx = static_cast<double>(x) / width, fy = static_cast<double>(y) / height;
            const bool disc = (x - width / 3) * (x - width / 3) + (y - height / 2) * (y - height / 2) <
                              (height / 5) * (height / 5);
            for (int c = 0; c < bpp; ++c) {
                double v = 128 + 90 * std::sin(6.0 * fx + 2.0 * c) * std::cos(4.0 * fy - c) +
                           20 * std::sin(0.05 * x + 0.07 * y);
                if (disc) v = 230 - 40 * c;
                int iv = static_cast<int>(v) + noise;
                row[x * bpp + c] = static_cast<TUbyte>(iv < 0 ? 0 : iv > 255 ? 255 : iv);
            }
        }
    }
    return b;
}

}  // namespace bench

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    cv::setNumThreads(1);  // every peer single-threaded, as the library is
    bench::RegisterPeerRows();
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
