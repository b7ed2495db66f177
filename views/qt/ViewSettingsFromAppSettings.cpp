#include "views/qt/ViewSettingsFromAppSettings.h"

#include "settings/AppSettings.h"

namespace {

LissajousPlacement placementFromString(const QString &stored)
{
    if (stored == QLatin1String("top")) return LissajousPlacement::Top;
    if (stored == QLatin1String("bottom")) return LissajousPlacement::Bottom;
    return LissajousPlacement::None;
}

} // namespace

LevelMeterSettings levelMeterSettings(AppSettings &settings)
{
    LevelMeterSettings result;
    result.background = settings.backgroundColor();

    LevelBarSettings &bars = result.bars;
    bars.meterSize = settings.meterSize();
    bars.showScale = settings.showScale();
    bars.scale = settings.selectedMeterScale();
    bars.showPeakHold = settings.showPeakHold();
    bars.minDb = settings.effectiveMinDb();
    bars.maxDb = settings.effectiveMaxDb();
    bars.gradient = settings.selectedGradient();
    bars.linearGradient = settings.cachedLinearGradient();
    bars.rmsGradient = settings.cachedRmsGradient();

    NumericReadoutSettings &readout = result.readout;
    readout.show = settings.showNumericalValue();
    readout.fractionalDigits = static_cast<int>(settings.fractionalDigits());
    readout.fontSize = settings.numericalFontSize();
    readout.barSpacing = settings.numericalBarSpacing();
    readout.showsPeakHold = settings.numericalShowsPeakHold();

    SpectrumSettings &spectrum = result.spectrum;
    spectrum.show = settings.showSpectralMeter();
    spectrum.height = settings.spectralMeterHeight();
    spectrum.spacing = settings.spectralMeterSpacing();
    spectrum.minDb = static_cast<float>(settings.spectralMinAmplitude());
    spectrum.maxDb = static_cast<float>(settings.spectralMaxAmplitude());
    spectrum.gradient = settings.spectralGradient();

    PhaseScopeSettings &scope = result.phaseScope;
    scope.show = settings.showLissajousMeter();
    scope.placement = placementFromString(settings.lissajousPlacement());
    scope.height = settings.lissajousMeterHeight();
    scope.lineWidth = settings.lissajousLineWidth();
    scope.glow = settings.lissajousGlow();
    scope.pointMode = settings.lissajousPointMode();
    scope.gradient = settings.lissajousGradient();

    LoudnessSettings &loudness = result.loudness;
    loudness.show = settings.showLUFSMeter();
    loudness.ringMode = settings.lufsRingMode();
    loudness.fontSize = settings.lufsMeterFontSize();
    loudness.preset = broadcast::selectedPreset(settings.showBroadcastPreset(),
                                                settings.selectedBroadcastPresetName().toStdString());
    LoudnessHistorySettings &history = result.history;
    history.show = settings.showLoudnessHistory();
    history.height = settings.loudnessHistoryHeight();
    history.spanMinutes = static_cast<int>(settings.loudnessHistoryMinutes());
    return result;
}

NumericalMeterSettings numericalMeterSettings(const AppSettings &settings)
{
    NumericalMeterSettings result;
    result.background = settings.backgroundColor();
    result.showTitleBars = settings.showTitleBars();
    result.showTargetsTable = settings.showTargetsTable();
    result.gradient = settings.selectedGradient();
    return result;
}
