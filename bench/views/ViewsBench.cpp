// Time to draw one frame of the level meter window through the QPainter adapter.
// Run: build/release/bench/views/bench_views (QT_QPA_PLATFORM=offscreen is set here).

#include "engine/dsp/BandSmoothing.h"
#include "engine/dsp/CatmullRomSpline.h"
#include "engine/dsp/LoudnessHistory.h"
#include "settings/GradientPreset.h"
#include "views/LoudnessHistoryView.h"
#include "views/qt/QtCanvas.h"
#include "views/qt/ViewRenderer.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

namespace {

const GradientPreset &preset(const char *name)
{
    for (const GradientPreset &p : gradient_presets::builtIns()) {
        if (p.name == name) return p;
    }
    return gradient_presets::builtIns().front();
}

// A busy frame at the default meter size 1.3: music-like levels, a 1/48-octave spectrum,
// a full 512-point phase-scope trail drawn as glowing lines, and the loudness rings.
ViewFrame busyFrame()
{
    ViewFrame frame;
    LevelMeterSettings &s = frame.levelMeter;
    s.bars.meterSize = 1.3;
    s.bars.gradient = preset("Classic");
    s.bars.linearGradient = s.bars.gradient.linearGradient(s.bars.minDb, s.bars.maxDb);
    s.bars.rmsGradient = s.bars.gradient.rmsGradient(s.bars.minDb, s.bars.maxDb);
    s.spectrum.gradient = preset("Dark Ice");
    s.phaseScope.gradient = preset("Classic");
    s.phaseScope.pointMode = false;
    s.phaseScope.glow = true;
    s.loudness.show = true;
    s.loudness.ringMode = true;
    s.loudness.preset = BroadcastPreset{{}, "EBU R128", -23.0, 1.0, -1.0, true};

    MeterValues &v = frame.values;
    v.peakLevelLeft = -9.5f;
    v.peakLevelRight = -11.0f;
    v.rmsLevelLeft = -16.0f;
    v.rmsLevelRight = -18.0f;
    v.maxPeakLeft = -6.0f;
    v.maxPeakRight = -7.5f;
    v.momentaryLUFS = -16.0;
    v.shortTermLUFS = -18.0;
    v.integratedLUFS = -22.6;
    v.loudnessRange = 5.0;
    v.truePeakLeft = -4.0;
    v.truePeakRight = -5.0;

    std::mt19937 random(7);
    std::uniform_real_distribution<float> jitter(-6.0f, 6.0f);
    v.spectralBands.resize(480);
    for (std::size_t i = 0; i < v.spectralBands.size(); ++i)
        v.spectralBands[i] = -30.0f - 0.04f * static_cast<float>(i) + jitter(random);
    v.spectralSplinePoints =
        CatmullRomSpline::interpolate(spectrumControlPoints(v.spectralBands, s.spectrum.minDb, s.spectrum.maxDb), 4);

    for (int n = 0; n < 512; ++n) {
        const double t = n * 64.0 / 48000.0;
        const double envelope = 0.3 + 0.25 * std::sin(2.0 * M_PI * 3.0 * t);
        v.lissajousPoints.push_back({static_cast<float>(envelope * std::sin(2.0 * M_PI * 110.0 * t)),
                                     static_cast<float>(envelope * std::sin(2.0 * M_PI * 110.0 * t + 0.6))});
    }
    return frame;
}

// A window-sized image at this device pixel ratio, as the window's backing store.
QImage frameImage(Size size, double devicePixelRatio)
{
    QImage image(static_cast<int>(std::ceil(size.width * devicePixelRatio)),
                 static_cast<int>(std::ceil(size.height * devicePixelRatio)), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

void ensureApplication()
{
    if (QCoreApplication::instance()) return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "bench_views";
    static char *argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv);
}

// One window-sized image reused for every frame, as a widget's backing store is.
void drawFrames(benchmark::State &state, ViewKind kind, Size size, double lineWidth = 4.0)
{
    ensureApplication();
    const double devicePixelRatio = static_cast<double>(state.range(0)) / 10.0;
    ViewFrame frame = busyFrame();
    frame.levelMeter.phaseScope.lineWidth = lineWidth;
    QImage image = frameImage(size, devicePixelRatio);
    LevelMeterView view;
    for (auto _ : state) {
        QPainter painter(&image);
        QtCanvas canvas(painter);
        drawView(canvas, kind, size, frame, view);
        painter.end();
        frame.nowSeconds += 1.0 / 60.0;
        benchmark::DoNotOptimize(image.constBits());
    }
    state.counters["fps_max"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_LevelMeterWindow(benchmark::State &state) { drawFrames(state, ViewKind::LevelMeterWindow, {240.0, 900.0}); }
void BM_BarsAndReadout(benchmark::State &state) { drawFrames(state, ViewKind::LevelMeter, {90.0, 340.0}); }
void BM_Spectrum48th(benchmark::State &state) { drawFrames(state, ViewKind::Spectrum, {220.0, 110.0}); }
// Second argument: line width in points (4 is the default setting).
void BM_PhaseScopeGlow512(benchmark::State &state)
{
    drawFrames(state, ViewKind::PhaseScope, {232.0, 90.0}, static_cast<double>(state.range(1)));
}
void BM_LoudnessRings(benchmark::State &state) { drawFrames(state, ViewKind::LufsRings, {232.0, 240.0}); }

// An hour of programme-like loudness with a few gaps, a restart and true-peak overs: the
// history panel's worst case (a full ring, every sample visible at the 60-minute span).
LoudnessHistory busyHistory()
{
    LoudnessHistory history;
    std::mt19937 random(11);
    std::uniform_real_distribution<double> jitter(-4.0, 4.0);
    double now = 0.0;
    for (std::size_t i = 0; i < LoudnessHistory::defaultCapacity; ++i, now += 0.1) {
        if (i == LoudnessHistory::defaultCapacity / 2) history.markMeasurementStart();
        const double swell = 6.0 * std::sin(static_cast<double>(i) * 0.003);
        const double momentary = (i % 3000 < 30) ? -70.0 : -23.0 + swell + jitter(random);
        history.advance(now, {momentary, -23.0 + swell, -23.5, i % 5000 == 0 ? -0.5 + 0.0001 * double(i) : -3.0});
    }
    return history;
}

// The level meter window drawn 60 times a second the way the window draws it (static
// layers kept in one cache between frames), with and without the history panel; every
// sixth frame the history takes a new sample and scrolls. Arguments: device pixel ratio
// x 10, history span in minutes (0 = panel off).
void BM_LevelMeterWindowHistory(benchmark::State &state)
{
    ensureApplication();
    const double devicePixelRatio = static_cast<double>(state.range(0)) / 10.0;
    const int span = static_cast<int>(state.range(1));
    ViewFrame frame = busyFrame();
    frame.levelMeter.history.show = span > 0;
    frame.levelMeter.history.spanMinutes = span > 0 ? span : 5;
    const Size size{240.0, 900.0 + (span > 0 ? frame.levelMeter.history.height + 4.0 : 0.0)};
    LoudnessHistory history = busyHistory();
    double historyNow = history.latestSampleSeconds();
    QImage image = frameImage(size, devicePixelRatio);
    QtCanvasCache cache;
    LevelMeterView view;
    view.setLoudnessHistory(&history);
    for (auto _ : state) {
        historyNow += 1.0 / 60.0;
        history.advance(historyNow, {-20.0, -21.0, -23.0, -3.0});
        QPainter painter(&image);
        QtCanvas canvas(painter, &cache);
        drawView(canvas, ViewKind::LevelMeterWindow, size, frame, view);
        painter.end();
        frame.nowSeconds += 1.0 / 60.0;
        benchmark::DoNotOptimize(image.constBits());
    }
}

// The history panel alone, 232 × 120 points as in the window: what a frame that
// repaints only the panel's band costs. Arguments: device pixel ratio x 10, span (min).
void BM_LoudnessHistoryPanel(benchmark::State &state)
{
    ensureApplication();
    const double devicePixelRatio = static_cast<double>(state.range(0)) / 10.0;
    LoudnessHistorySettings settings;
    settings.show = true;
    settings.spanMinutes = static_cast<int>(state.range(1));
    const Size size{232.0, settings.height};
    const std::optional<BroadcastPreset> target = BroadcastPreset{{}, "EBU R128", -23.0, 1.0, -1.0, true};
    LoudnessHistory history = busyHistory();
    double historyNow = history.latestSampleSeconds();
    QImage image = frameImage(size, devicePixelRatio);
    QtCanvasCache cache;
    LoudnessHistoryView view;
    for (auto _ : state) {
        historyNow += 1.0 / 60.0;
        history.advance(historyNow, {-20.0, -21.0, -23.0, -3.0});
        QPainter painter(&image);
        painter.fillRect(QRectF(0.0, 0.0, size.width, size.height), Qt::black);
        QtCanvas canvas(painter, &cache);
        view.draw(canvas, size, history, settings, target);
        painter.end();
        benchmark::DoNotOptimize(image.constBits());
    }
}

} // namespace

// Argument: device pixel ratio x 10 (10 = 1x, 20 = 2x). CPU time counts every thread
// of the process: Qt's raster engine hands large fills to its own thread pool.
BENCHMARK(BM_LevelMeterWindow)->Arg(10)->Arg(20)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BarsAndReadout)->Arg(10)->Arg(20)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Spectrum48th)->Arg(10)->Arg(20)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PhaseScopeGlow512)
    ->Args({10, 4})->Args({20, 4})->Args({10, 2})->Args({10, 1})
    ->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoudnessRings)->Arg(10)->Arg(20)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoudnessHistoryPanel)
    ->Args({10, 1})->Args({10, 60})->Args({20, 1})->Args({20, 60})
    ->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LevelMeterWindowHistory)
    ->Args({10, 0})->Args({10, 1})->Args({10, 60})->Args({20, 0})->Args({20, 1})->Args({20, 60})
    ->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
