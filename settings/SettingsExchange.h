#pragma once

#include "settings/ExchangeFiles.h"
#include "settings/GradientPreset.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

class AppSettings;

// Settings copied one to one between a settings file and AppSettings, whose property
// names equal the file's keys:
//   X(type, key and property, setter, required or optional on import)
// The remaining keys (version, gradients, the three gradient names and the four
// enumeration strings) need their own rules and are handled by hand.
#define KELVRA_EXCHANGED_VALUES(X)                                                                                 \
    X(double, meterSize, setMeterSize, required)                                                                   \
    X(qint64, fractionalDigits, setFractionalDigits, required)                                                     \
    X(double, numericalFontSize, setNumericalFontSize, required)                                                   \
    X(double, numericalBarSpacing, setNumericalBarSpacing, optional)                                               \
    X(bool, showDividerAbove, setShowDividerAbove, required)                                                       \
    X(bool, showDividerBelow, setShowDividerBelow, required)                                                       \
    X(bool, showScale, setShowScale, required)                                                                     \
    X(bool, showChannelLabels, setShowChannelLabels, required)                                                     \
    X(bool, showNumericalValue, setShowNumericalValue, required)                                                   \
    X(bool, showPeakHold, setShowPeakHold, required)                                                               \
    X(double, peakHoldTime, setPeakHoldTime, required)                                                             \
    X(bool, numericalShowsPeakHold, setNumericalShowsPeakHold, required)                                           \
    X(bool, showTitleBars, setShowTitleBars, required)                                                             \
    X(bool, showWindowChrome, setShowWindowChrome, required)                                                       \
    X(bool, useCustomRange, setUseCustomRange, required)                                                           \
    X(double, meterRangeMin, setMeterRangeMin, required)                                                           \
    X(double, meterRangeMax, setMeterRangeMax, required)                                                           \
    X(bool, showSpectralMeter, setShowSpectralMeter, optional)                                                     \
    X(double, spectralMeterHeight, setSpectralMeterHeight, optional)                                               \
    X(double, spectralMeterSpacing, setSpectralMeterSpacing, optional)                                             \
    X(double, backgroundRed, setBackgroundRed, required)                                                           \
    X(double, backgroundGreen, setBackgroundGreen, required)                                                       \
    X(double, backgroundBlue, setBackgroundBlue, required)                                                         \
    X(bool, spectralUseSameGradient, setSpectralUseSameGradient, optional)                                         \
    X(double, spectralMinFrequency, setSpectralMinFrequency, optional)                                             \
    X(double, spectralMaxFrequency, setSpectralMaxFrequency, optional)                                             \
    X(double, spectralMinAmplitude, setSpectralMinAmplitude, optional)                                             \
    X(double, spectralMaxAmplitude, setSpectralMaxAmplitude, optional)                                             \
    X(double, spectralCalibrationOffset, setSpectralCalibrationOffset, optional)                                   \
    X(bool, showLissajousMeter, setShowLissajousMeter, optional)                                                   \
    X(double, lissajousMeterHeight, setLissajousMeterHeight, optional)                                             \
    X(bool, lissajousUseSameGradient, setLissajousUseSameGradient, optional)                                       \
    X(double, lissajousTrailLength, setLissajousTrailLength, optional)                                             \
    X(double, lissajousLineWidth, setLissajousLineWidth, optional)                                                 \
    X(bool, lissajousGlow, setLissajousGlow, optional)                                                             \
    X(bool, lissajousPointMode, setLissajousPointMode, optional)                                                   \
    X(bool, showLUFSMeter, setShowLUFSMeter, optional)                                                             \
    X(bool, lufsRingMode, setLufsRingMode, optional)                                                               \
    X(double, lufsMeterFontSize, setLufsMeterFontSize, optional)                                                   \
    X(bool, showBroadcastPreset, setShowBroadcastPreset, optional)                                                 \
    X(QString, selectedBroadcastPresetName, setSelectedBroadcastPresetName, optional)                              \
    X(double, processTapMixdownGain, setProcessTapMixdownGain, optional)                                           \
    X(bool, processTapMixdownAuto, setProcessTapMixdownAuto, optional)                                             \
    X(bool, processTapDeterministic, setProcessTapDeterministic, optional)

// One settings file. Built-in gradients travel by name only; the user's own presets
// travel whole. After a successful decode every required value is present; an absent
// optional value leaves its setting alone on import.
struct ExportableSettings {
    qint64 version = 2;                            // format version, 2 when written
    std::vector<GradientPreset> gradients;         // the user's own presets, list order
    QString selectedGradientName;                  // meter gradient
    std::optional<QString> spectralGradientName;   // spectrum gradient
    std::optional<QString> lissajousGradientName;  // phase-scope gradient
    QString selectedMeterScale;                    // MeterScale display name
    std::optional<QString> meterBallisticsMode;    // ballistics display name
    std::optional<QString> spectralOctaveResolution; // octave resolution display name
    std::optional<QString> lissajousPlacement;     // "top" or "bottom"
#define KELVRA_EXPORTABLE_FIELD(type, key, setter, requirement) std::optional<type> key;
    KELVRA_EXCHANGED_VALUES(KELVRA_EXPORTABLE_FIELD)
#undef KELVRA_EXPORTABLE_FIELD
};

// Display names of the enumerations that live in the engine (ballistics modes, octave
// resolutions). The settings layer must not link the engine, so whoever imports passes
// them in; an imported name is applied only when it is one of these exactly.
struct EngineEnumerationNames {
    std::vector<QString> ballisticsModes;   // "Digital Peak", "PPM (EBU/BBC)", ...
    std::vector<QString> octaveResolutions; // "1/3 Octave", ...
};

namespace settings_exchange {

inline constexpr qint64 currentVersion = 2;
inline constexpr const char *defaultFileName = "KelvraMeters_Settings.kmsettings";
inline constexpr const char *fileSuffix = "kmsettings";

// The record of the current settings: each custom preset as a copy with a fresh id,
// stops sorted by level and isBuiltIn false; gradient names from the selected,
// spectrum and phase-scope gradients.
ExportableSettings exportableSettings(const AppSettings &settings);

// Pretty-printed JSON with keys in alphabetical order, or nullopt with `error` set when
// a value has no JSON form (a NaN or infinite number).
std::optional<QByteArray> encode(const ExportableSettings &record, QString &error);

// Strict reading: a required key missing, or any known key holding a value of the wrong
// type or beyond the exchange limits, fails the whole file; unknown keys are ignored.
// "version" and "fractionalDigits" must be whole numbers.
std::optional<ExportableSettings> decode(const QByteArray &json, QString &error);

// Applies a decoded record: presets appended (new ids, unique names) and saved, gradient
// names resolved against the grown list, then every other present value copied;
// enumeration names are applied only on an exact match. Cannot fail: decode has
// validated everything, so a file is applied whole or not at all.
void apply(AppSettings &settings, const ExportableSettings &record, const EngineEnumerationNames &names);

// File operations. Failures are printed to standard error with the prefixes
// "Failed to export settings: " and "Failed to import settings: "; an import that
// fails changes nothing.
ExchangeResult exportToFile(const AppSettings &settings, const QString &path);
ExchangeResult importFromFile(AppSettings &settings, const QString &path, const EngineEnumerationNames &names);

} // namespace settings_exchange
