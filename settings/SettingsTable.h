#pragma once

// Every stored setting in one table, in declaration order:
//   X(type, property, setter, "persisted key", default)
// AppSettings expands it into accessors, defaults and the list of keys, so a
// setting is added or changed in exactly one place.
#define KELVRA_SETTINGS(X)                                                                                        \
    X(QString, storedTheme, setStoredTheme, "selectedTheme", QStringLiteral("Dark Ice"))                           \
    X(QString, selectedGradientIdString, setSelectedGradientIdString, "selectedGradientId",                        \
      QStringLiteral("A6CD9130-E2CC-4525-9CC1-C6FCC650738B"))                                                      \
    X(QByteArray, customGradientsData, setCustomGradientsData, "customGradientsData", factoryCustomGradientsData()) \
    X(double, meterSize, setMeterSize, "meterSize", 1.3)                                                           \
    X(qint64, fractionalDigits, setFractionalDigits, "fractionalDigits", 0)                                        \
    X(double, numericalFontSize, setNumericalFontSize, "numericalFontSize", 30.0)                                  \
    X(bool, showDividerAbove, setShowDividerAbove, "showDividerAbove", false)                                      \
    X(bool, showDividerBelow, setShowDividerBelow, "showDividerBelow", false)                                      \
    X(double, numericalBarSpacing, setNumericalBarSpacing, "numericalBarSpacing", 13.0)                            \
    X(bool, showScale, setShowScale, "showScale", true)                                                            \
    X(QString, selectedMeterScaleRaw, setSelectedMeterScaleRaw, "selectedMeterScale", QStringLiteral("Final Cut Pro")) \
    X(bool, showChannelLabels, setShowChannelLabels, "showChannelLabels", false)                                   \
    X(bool, showNumericalValue, setShowNumericalValue, "showNumericalValue", true)                                 \
    X(bool, showPeakHold, setShowPeakHold, "showPeakHold", true)                                                   \
    X(double, peakHoldTime, setPeakHoldTime, "peakHoldTime", 1.5)                                                  \
    X(bool, numericalShowsPeakHold, setNumericalShowsPeakHold, "numericalShowsPeakHold", true)                     \
    X(bool, showTitleBars, setShowTitleBars, "showTitleBars", true)                                                \
    X(bool, showTargetsTable, setShowTargetsTable, "showTargetsTable", false)                                     \
    X(bool, showWindowChrome, setShowWindowChrome, "showWindowChrome", true)                                       \
    X(QString, meterBallisticsModeString, setMeterBallisticsModeString, "meterBallisticsMode",                     \
      QStringLiteral("Digital Peak"))                                                                              \
    X(double, processTapMixdownGain, setProcessTapMixdownGain, "processTapMixdownGain", 3.0)                       \
    X(bool, processTapDeterministic, setProcessTapDeterministic, "processTapDeterministic", false)                 \
    X(qint64, processTapSettingsVersion, setProcessTapSettingsVersion, "processTapSettingsVersion", 0)             \
    X(bool, processTapMixdownAuto, setProcessTapMixdownAuto, "processTapMixdownAuto", true)                       \
    X(bool, showSpectralMeter, setShowSpectralMeter, "showSpectralMeter", true)                                    \
    X(double, spectralMeterHeight, setSpectralMeterHeight, "spectralMeterHeight", 110.0)                           \
    X(double, spectralMeterSpacing, setSpectralMeterSpacing, "spectralMeterSpacing", 0.0)                          \
    X(QString, spectralGradientIdString, setSpectralGradientIdString, "spectralGradientId",                        \
      QStringLiteral("03CEF2B2-7D7A-4593-B5B5-E46E198FC117"))                                                      \
    X(bool, spectralUseSameGradient, setSpectralUseSameGradient, "spectralUseSameGradient", false)                 \
    X(double, spectralMinFrequency, setSpectralMinFrequency, "spectralMinFrequency", 20.0)                         \
    X(double, spectralMaxFrequency, setSpectralMaxFrequency, "spectralMaxFrequency", 24000.0)                      \
    X(double, spectralMinAmplitude, setSpectralMinAmplitude, "spectralMinAmplitude", -96.0)                        \
    X(double, spectralMaxAmplitude, setSpectralMaxAmplitude, "spectralMaxAmplitude", 0.0)                          \
    X(double, spectralCalibrationOffset, setSpectralCalibrationOffset, "spectralCalibrationOffset", 21.0)          \
    X(QString, spectralOctaveResolutionString, setSpectralOctaveResolutionString, "spectralOctaveResolution",      \
      QStringLiteral("1/24 Octave"))                                                                               \
    X(bool, showLissajousMeter, setShowLissajousMeter, "showLissajousMeter", true)                                 \
    X(double, lissajousMeterHeight, setLissajousMeterHeight, "lissajousMeterHeight", 90.0)                         \
    X(QString, lissajousPlacement, setLissajousPlacement, "lissajousPlacement", QStringLiteral("top"))             \
    X(QString, lissajousGradientIdString, setLissajousGradientIdString, "lissajousGradientId",                     \
      QStringLiteral("A6CD9130-E2CC-4525-9CC1-C6FCC650738B"))                                                      \
    X(bool, lissajousUseSameGradient, setLissajousUseSameGradient, "lissajousUseSameGradient", false)              \
    X(double, lissajousTrailLength, setLissajousTrailLength, "lissajousTrailLength", 256.0)                        \
    X(double, lissajousLineWidth, setLissajousLineWidth, "lissajousLineWidth", 4.0)                                \
    X(bool, lissajousGlow, setLissajousGlow, "lissajousGlow", false)                                               \
    X(bool, lissajousPointMode, setLissajousPointMode, "lissajousPointMode", true)                                 \
    X(bool, showLUFSMeter, setShowLUFSMeter, "showLUFSMeter", false)                                               \
    X(bool, lufsRingMode, setLufsRingMode, "lufsRingMode", true)                                                   \
    X(double, lufsMeterFontSize, setLufsMeterFontSize, "lufsMeterFontSize", 10.0)                                  \
    X(bool, showLoudnessHistory, setShowLoudnessHistory, "showLoudnessHistory", false)                             \
    X(double, loudnessHistoryHeight, setLoudnessHistoryHeight, "loudnessHistoryHeight", 120.0)                     \
    X(qint64, loudnessHistoryMinutes, setLoudnessHistoryMinutes, "loudnessHistoryMinutes", 5)                      \
    X(bool, showBroadcastPreset, setShowBroadcastPreset, "showBroadcastPreset", true)                              \
    X(QString, selectedBroadcastPresetName, setSelectedBroadcastPresetName, "selectedBroadcastPresetName",         \
      QStringLiteral("Netflix"))                                                                                   \
    X(bool, useCustomRange, setUseCustomRange, "useCustomRange", false)                                            \
    X(double, meterRangeMin, setMeterRangeMin, "meterRangeMin", -60.0)                                             \
    X(double, meterRangeMax, setMeterRangeMax, "meterRangeMax", 6.0)                                               \
    X(double, backgroundRed, setBackgroundRed, "backgroundRed", 0.0)                                               \
    X(double, backgroundGreen, setBackgroundGreen, "backgroundGreen", 0.0)                                         \
    X(double, backgroundBlue, setBackgroundBlue, "backgroundBlue", 0.0)
