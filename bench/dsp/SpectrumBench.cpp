// Cost of one spectrum frame and of the band mapping and curve the tick adds.
#include "engine/dsp/CatmullRomSpline.h"
#include "engine/dsp/SpectrumAnalyzer.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

std::vector<float> programme()
{
    std::vector<float> x(SpectrumAnalyzer::fftSize);
    for (std::size_t n = 0; n < x.size(); ++n) {
        const double t = static_cast<double>(n) / 48000.0;
        x[n] = static_cast<float>(0.3 * std::sin(2 * std::numbers::pi * 997.0 * t)
                                  + 0.1 * std::sin(2 * std::numbers::pi * 6100.0 * t));
    }
    return x;
}

// One 4096-sample frame -> bands (window, FFT, power, dB, band mapping).
void BM_SpectrumAnalyze(benchmark::State &state)
{
    SpectrumAnalyzer analyzer;
    SpectrumParams params;
    params.bandCount = static_cast<int>(state.range(0));
    std::vector<float> bands(static_cast<std::size_t>(params.bandCount));
    const std::vector<float> x = programme();
    for (auto _ : state) {
        analyzer.analyze(x.data(), params, bands);
        benchmark::DoNotOptimize(bands.data());
    }
}
BENCHMARK(BM_SpectrumAnalyze)->Arg(31)->Arg(480)->Unit(benchmark::kMicrosecond);

void BM_MapToLogBands(benchmark::State &state)
{
    SpectrumAnalyzer analyzer;
    SpectrumParams params;
    params.bandCount = static_cast<int>(state.range(0));
    std::vector<float> bands(static_cast<std::size_t>(params.bandCount));
    const std::vector<float> x = programme();
    analyzer.analyze(x.data(), params, bands);
    const auto db = analyzer.dbMagnitudes();
    for (auto _ : state) {
        mapToLogBands(db, params, bands);
        benchmark::DoNotOptimize(bands.data());
    }
}
BENCHMARK(BM_MapToLogBands)->Arg(31)->Arg(480)->Unit(benchmark::kMicrosecond);

// The curve the tick draws through the bands, 4 points per span.
void BM_CatmullRomSpline(benchmark::State &state)
{
    const auto n = static_cast<int>(state.range(0));
    std::vector<UnitPoint> points;
    for (int i = 0; i < n; ++i) {
        points.push_back({static_cast<double>(i) / (n - 1), 0.5 + 0.3 * std::sin(i * 0.3)});
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(CatmullRomSpline::interpolate(points, 4));
    }
}
BENCHMARK(BM_CatmullRomSpline)->Arg(31)->Arg(480)->Unit(benchmark::kMicrosecond);

} // namespace
