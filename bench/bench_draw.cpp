// Drawing beside OpenCV's rasterisers (8-connected, no anti-aliasing) on a
// 4000 x 3000 RGB canvas: a filled 1000-vertex polygon, a filled circle of
// radius 1400, and 100 000 random one-pixel lines.
#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <vector>

#include "bench_common.h"
#include "libimge.h"
#include "libtools.h"

namespace {

constexpr int kVertices = 1000;
constexpr int kLines = 100000;

// A star-shaped polygon around the centre with deterministic radii.
std::vector<IMG_POINT> StarPolygon() {
    std::vector<IMG_POINT> pts(kVertices);
    uint32_t seed = 777;
    for (int i = 0; i < kVertices; ++i) {
        seed = seed * 1664525u + 1013904223u;
        const double a = 2 * M_PI * i / kVertices;
        const double r = 600 + (seed >> 8) % 800;
        pts[i] = {static_cast<IMG_INT32>(2000 + r * std::cos(a)), static_cast<IMG_INT32>(1500 + r * std::sin(a))};
    }
    return pts;
}

std::vector<IMG_POINT> RandomEnds() {
    std::vector<IMG_POINT> pts(2 * kLines);
    uint32_t seed = 4242;
    for (auto &p : pts) {
        seed = seed * 1664525u + 1013904223u;
        p.x = static_cast<IMG_INT32>((seed >> 8) % bench::kWidth);
        seed = seed * 1664525u + 1013904223u;
        p.y = static_cast<IMG_INT32>((seed >> 8) % bench::kHeight);
    }
    return pts;
}

struct Canvas {
    IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, bench::kWidth, bench::kHeight);
    ~Canvas() { imgFreeBitmap(b); }
    cv::Mat Mat() const { return cv::Mat(b->Height, b->Width, CV_8UC3, b->Data, b->BytesPerLine); }
};

const IMG_COLOR kColor = {200, 100, 50, 255};
const cv::Scalar kCvColor(200, 100, 50);

void BM_Polygon(benchmark::State &state) {
    Canvas c;
    auto pts = StarPolygon();
    for (auto _ : state) {
        imgDrawPolygonColor(c.b, pts.data(), kVertices, &kColor, 1, nullptr, 0, nullptr);
        benchmark::ClobberMemory();
    }
}

void BM_CvFillPoly(benchmark::State &state) {
    cv::setNumThreads(1);
    Canvas c;
    cv::Mat m = c.Mat();
    auto pts = StarPolygon();
    std::vector<cv::Point> cvp;
    for (auto &p : pts) cvp.emplace_back(p.x, p.y);
    for (auto _ : state) {
        cv::fillPoly(m, std::vector<std::vector<cv::Point>>{cvp}, kCvColor, cv::LINE_8);
        benchmark::ClobberMemory();
    }
}

void BM_Circle(benchmark::State &state) {
    Canvas c;
    for (auto _ : state) {
        imgDrawCircleColor(c.b, 2000, 1500, 1400, &kColor, 1, nullptr, 0, nullptr);
        benchmark::ClobberMemory();
    }
}

void BM_CvCircle(benchmark::State &state) {
    cv::setNumThreads(1);
    Canvas c;
    cv::Mat m = c.Mat();
    for (auto _ : state) {
        cv::circle(m, cv::Point(2000, 1500), 1400, kCvColor, cv::FILLED, cv::LINE_8);
        benchmark::ClobberMemory();
    }
}

void BM_Lines(benchmark::State &state) {
    Canvas c;
    auto pts = RandomEnds();
    for (auto _ : state) {
        for (int i = 0; i < kLines; ++i)
            imgDrawLineColor(c.b, pts[2 * i].x, pts[2 * i].y, pts[2 * i + 1].x, pts[2 * i + 1].y, 1, &kColor, 0,
                             nullptr);
        benchmark::ClobberMemory();
    }
}

void BM_CvLines(benchmark::State &state) {
    cv::setNumThreads(1);
    Canvas c;
    cv::Mat m = c.Mat();
    auto pts = RandomEnds();
    for (auto _ : state) {
        for (int i = 0; i < kLines; ++i)
            cv::line(m, cv::Point(pts[2 * i].x, pts[2 * i].y), cv::Point(pts[2 * i + 1].x, pts[2 * i + 1].y),
                     kCvColor, 1, cv::LINE_8);
        benchmark::ClobberMemory();
    }
}

struct Register {
    Register() {
        benchmark::RegisterBenchmark("draw/imgDrawPolygonColor_1000", BM_Polygon)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("draw/cv::fillPoly_1000", BM_CvFillPoly)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("draw/imgDrawCircleColor_r1400", BM_Circle)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("draw/cv::circle_r1400", BM_CvCircle)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("draw/imgDrawLineColor_100k", BM_Lines)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark("draw/cv::line_100k", BM_CvLines)->Unit(benchmark::kMillisecond);
        bench::AddRatio("draw/imgDrawPolygonColor_1000", "draw/cv::fillPoly_1000", 1.5);
        bench::AddRatio("draw/imgDrawCircleColor_r1400", "draw/cv::circle_r1400", 1.2);
        bench::AddRatio("draw/imgDrawLineColor_100k", "draw/cv::line_100k", 1.2);
    }
} reg;

}  // namespace
