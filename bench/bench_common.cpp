#include "bench_common.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdint>
#include <map>
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
            if (r.run_type == Run::RT_Iteration) times_[r.benchmark_name()] = r.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    void PrintRatios() const {
        if (Ratios().empty()) return;
        std::printf("\n%-44s %-30s %8s %8s\n", "ours", "peer", "ratio", "target");
        for (const Ratio &r : Ratios()) {
            auto a = times_.find(r.ours), b = times_.find(r.peer);
            if (a == times_.end() || b == times_.end()) continue;
            double q = a->second / b->second;
            std::printf("%-44s %-30s %8.3f %8.2f %s\n", r.ours.c_str(), r.peer.c_str(), q, r.target,
                        q <= r.target ? "ok" : "SLOWER");
        }
    }

private:
    std::map<std::string, double> times_;
};

}  // namespace

void AddRatio(const std::string &ours, const std::string &peer, double target) {
    Ratios().push_back({ours, peer, target});
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
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
