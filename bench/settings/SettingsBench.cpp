// Cost of the settings reads the main thread makes while drawing: a typed getter over
// the INI-backed store (values come back as text and are parsed on every read), the
// bar-gradient cache hit, and a colour lookup.
#include "settings/AppSettings.h"

#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include <memory>

namespace {

// An AppSettings over a real INI file that has been written and read back, so reads
// take the text-parsing path a running application takes.
struct IniSettings {
    QTemporaryDir dir;
    std::unique_ptr<AppSettings> settings;

    IniSettings()
    {
        const QString path = dir.filePath(QStringLiteral("KelvraMeters.ini"));
        {
            AppSettings writer(std::make_shared<QSettingsDefaultsStore>(path));
            writer.setPeakHoldTime(2.0);
            writer.setShowPeakHold(true);
            writer.setSelectedMeterScale(MeterScale::din);
        }
        settings = std::make_unique<AppSettings>(std::make_shared<QSettingsDefaultsStore>(path));
    }
};

void BM_IniDoubleGetter(benchmark::State &state)
{
    IniSettings ini;
    for (auto _ : state)
        benchmark::DoNotOptimize(ini.settings->peakHoldTime());
}
BENCHMARK(BM_IniDoubleGetter);

void BM_IniBoolGetter(benchmark::State &state)
{
    IniSettings ini;
    for (auto _ : state)
        benchmark::DoNotOptimize(ini.settings->showPeakHold());
}
BENCHMARK(BM_IniBoolGetter);

void BM_AbsentKeyGetter(benchmark::State &state)
{
    IniSettings ini;
    for (auto _ : state)
        benchmark::DoNotOptimize(ini.settings->lissajousLineWidth());
}
BENCHMARK(BM_AbsentKeyGetter);

void BM_EffectiveRange(benchmark::State &state)
{
    IniSettings ini;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ini.settings->effectiveMinDb());
        benchmark::DoNotOptimize(ini.settings->effectiveMaxDb());
    }
}
BENCHMARK(BM_EffectiveRange);

// One frame of the level meter reads both bar gradients.
void BM_CachedBarGradientsPerFrame(benchmark::State &state)
{
    IniSettings ini;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ini.settings->cachedLinearGradient());
        benchmark::DoNotOptimize(ini.settings->cachedRmsGradient());
    }
}
BENCHMARK(BM_CachedBarGradientsPerFrame);

void BM_ColorAt(benchmark::State &state)
{
    const GradientPreset &preset = gradient_presets::builtIns().front();
    float level = -60.0f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(preset.colorAt(level));
        level = level > 6.0f ? -60.0f : level + 0.37f;
    }
}
BENCHMARK(BM_ColorAt);

} // namespace

BENCHMARK_MAIN();
