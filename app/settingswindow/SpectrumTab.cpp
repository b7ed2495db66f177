#include "app/settingswindow/SpectrumTab.h"

#include "app/settingswindow/SettingsBinder.h"
#include "app/settingswindow/SettingsControls.h"
#include "engine/dsp/OctaveResolution.h"
#include "settings/AppSettings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

using namespace settings_controls;

namespace {

const QString sameAsMeter = QStringLiteral("Same as the level meter");

QString fromView(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// The stored id of a gradient setting, or "same" while the use-same flag is on.
QString spectralKey(const SettingsBinder &b)
{
    const AppSettings &s = b.settings();
    if (s.spectralUseSameGradient()) return QString::fromLatin1(AppSettings::sameGradientTag);
    return QString::fromStdString(s.spectralGradient().id.toString());
}

QString lissajousKey(const SettingsBinder &b)
{
    const AppSettings &s = b.settings();
    if (s.lissajousUseSameGradient()) return QString::fromLatin1(AppSettings::sameGradientTag);
    return QString::fromStdString(s.lissajousGradient().id.toString());
}

QFormLayout *formFor(QWidget *page)
{
    auto *outer = new QVBoxLayout(page);
    auto *form = new QFormLayout;
    outer->addLayout(form);
    outer->addStretch(1);
    return form;
}

// Keeps the lower bound of a range below the upper one, `gap` apart.
void linkBounds(SettingsBinder &binder, QDoubleSpinBox *lower, QDoubleSpinBox *upper, double gap)
{
    binder.addRefresher([lower, upper, gap] {
        const QSignalBlocker lowerBlocker(lower);
        const QSignalBlocker upperBlocker(upper);
        lower->setMaximum(upper->value() - gap);
        upper->setMinimum(lower->value() + gap);
    });
}

} // namespace

SpectrumTab::SpectrumTab(AppSettings &settings, QWidget *parent) : QWidget(parent)
{
    auto *binder = new SettingsBinder(settings, this);
    QFormLayout *form = formFor(this);

    auto *show = new QCheckBox(QStringLiteral("Show the spectrum under the bars"));
    show->setObjectName(QStringLiteral("showSpectralMeter"));
    binder->bind(show, &AppSettings::showSpectralMeter, &AppSettings::setShowSpectralMeter);
    form->addRow(show);

    QDoubleSpinBox *height = doubleSpin(30.0, 600.0, 5.0, 0, QStringLiteral(" pt"));
    height->setObjectName(QStringLiteral("spectralMeterHeight"));
    binder->bind(height, &AppSettings::spectralMeterHeight, &AppSettings::setSpectralMeterHeight);
    form->addRow(QStringLiteral("Height:"), height);

    QDoubleSpinBox *spacing = doubleSpin(0.0, 60.0, 1.0, 0, QStringLiteral(" pt"));
    spacing->setObjectName(QStringLiteral("spectralMeterSpacing"));
    binder->bind(spacing, &AppSettings::spectralMeterSpacing, &AppSettings::setSpectralMeterSpacing);
    form->addRow(QStringLiteral("Space above:"), spacing);

    QDoubleSpinBox *minFrequency = doubleSpin(10.0, 23000.0, 10.0, 0, QStringLiteral(" Hz"));
    minFrequency->setObjectName(QStringLiteral("spectralMinFrequency"));
    QDoubleSpinBox *maxFrequency = doubleSpin(20.0, 24000.0, 100.0, 0, QStringLiteral(" Hz"));
    maxFrequency->setObjectName(QStringLiteral("spectralMaxFrequency"));
    binder->bind(minFrequency, &AppSettings::spectralMinFrequency, &AppSettings::setSpectralMinFrequency);
    binder->bind(maxFrequency, &AppSettings::spectralMaxFrequency, &AppSettings::setSpectralMaxFrequency);
    linkBounds(*binder, minFrequency, maxFrequency, 10.0);
    form->addRow(QStringLiteral("Lowest frequency:"), minFrequency);
    form->addRow(QStringLiteral("Highest frequency:"), maxFrequency);

    QDoubleSpinBox *minAmplitude = doubleSpin(-160.0, 0.0, 1.0, 0, QStringLiteral(" dB"));
    minAmplitude->setObjectName(QStringLiteral("spectralMinAmplitude"));
    QDoubleSpinBox *maxAmplitude = doubleSpin(-100.0, 40.0, 1.0, 0, QStringLiteral(" dB"));
    maxAmplitude->setObjectName(QStringLiteral("spectralMaxAmplitude"));
    binder->bind(minAmplitude, &AppSettings::spectralMinAmplitude, &AppSettings::setSpectralMinAmplitude);
    binder->bind(maxAmplitude, &AppSettings::spectralMaxAmplitude, &AppSettings::setSpectralMaxAmplitude);
    linkBounds(*binder, minAmplitude, maxAmplitude, 6.0);
    form->addRow(QStringLiteral("Bottom:"), minAmplitude);
    form->addRow(QStringLiteral("Top:"), maxAmplitude);

    QDoubleSpinBox *calibration = doubleSpin(-60.0, 60.0, 0.5, 1, QStringLiteral(" dB"));
    calibration->setObjectName(QStringLiteral("spectralCalibrationOffset"));
    binder->bind(calibration, &AppSettings::spectralCalibrationOffset, &AppSettings::setSpectralCalibrationOffset);
    form->addRow(QStringLiteral("Calibration offset:"), calibration);
    form->addRow(QString(), note(QStringLiteral("Added to every band, so that a full-scale sine reads where you "
                                                "expect it for your band width.")));

    auto *resolution = new QComboBox;
    resolution->setObjectName(QStringLiteral("spectralOctaveResolution"));
    for (OctaveResolution r : octave_resolution::allCases)
        resolution->addItem(fromView(octave_resolution::rawValue(r)), fromView(octave_resolution::rawValue(r)));
    binder->bind(
        resolution,
        [&settings] {
            return fromView(octave_resolution::rawValue(
                octave_resolution::fromRawValueOrDefault(settings.spectralOctaveResolutionString().toStdString())));
        },
        [&settings](const QString &raw) { settings.setSpectralOctaveResolutionString(raw); });
    form->addRow(QStringLiteral("Resolution:"), resolution);

    QComboBox *gradient = gradientPicker(*binder, sameAsMeter, spectralKey, [](SettingsBinder &b, const QString &key) {
        b.settings().chooseSpectralGradient(key);
    });
    gradient->setObjectName(QStringLiteral("spectralGradient"));
    form->addRow(QStringLiteral("Gradient:"), gradient);
}

PhaseScopeTab::PhaseScopeTab(AppSettings &settings, QWidget *parent) : QWidget(parent)
{
    auto *binder = new SettingsBinder(settings, this);
    QFormLayout *form = formFor(this);

    auto *show = new QCheckBox(QStringLiteral("Show the phase scope"));
    show->setObjectName(QStringLiteral("showLissajousMeter"));
    binder->bind(show, &AppSettings::showLissajousMeter, &AppSettings::setShowLissajousMeter);
    form->addRow(show);

    auto *placement = new QComboBox;
    placement->setObjectName(QStringLiteral("lissajousPlacement"));
    placement->addItem(QStringLiteral("Above the meter"), QStringLiteral("top"));
    placement->addItem(QStringLiteral("Below the meter"), QStringLiteral("bottom"));
    binder->bind(
        placement, [&settings] { return settings.lissajousPlacement(); },
        [&settings](const QString &value) { settings.setLissajousPlacement(value); });
    form->addRow(QStringLiteral("Placement:"), placement);

    QDoubleSpinBox *height = doubleSpin(30.0, 600.0, 5.0, 0, QStringLiteral(" pt"));
    height->setObjectName(QStringLiteral("lissajousMeterHeight"));
    binder->bind(height, &AppSettings::lissajousMeterHeight, &AppSettings::setLissajousMeterHeight);
    form->addRow(QStringLiteral("Height:"), height);

    QDoubleSpinBox *trail = doubleSpin(16.0, 4096.0, 16.0, 0, QStringLiteral(" points"));
    trail->setObjectName(QStringLiteral("lissajousTrailLength"));
    binder->bind(trail, &AppSettings::lissajousTrailLength, &AppSettings::setLissajousTrailLength);
    form->addRow(QStringLiteral("Trail:"), trail);

    QDoubleSpinBox *lineWidth = doubleSpin(0.5, 12.0, 0.5, 1, QStringLiteral(" pt"));
    lineWidth->setObjectName(QStringLiteral("lissajousLineWidth"));
    binder->bind(lineWidth, &AppSettings::lissajousLineWidth, &AppSettings::setLissajousLineWidth);
    form->addRow(QStringLiteral("Line width:"), lineWidth);

    auto *glow = new QCheckBox(QStringLiteral("Glow"));
    glow->setObjectName(QStringLiteral("lissajousGlow"));
    binder->bind(glow, &AppSettings::lissajousGlow, &AppSettings::setLissajousGlow);
    form->addRow(glow);

    auto *points = new QCheckBox(QStringLiteral("Draw points instead of a line"));
    points->setObjectName(QStringLiteral("lissajousPointMode"));
    binder->bind(points, &AppSettings::lissajousPointMode, &AppSettings::setLissajousPointMode);
    form->addRow(points);

    QComboBox *gradient = gradientPicker(*binder, sameAsMeter, lissajousKey, [](SettingsBinder &b, const QString &key) {
        b.settings().chooseLissajousGradient(key);
    });
    gradient->setObjectName(QStringLiteral("lissajousGradient"));
    form->addRow(QStringLiteral("Gradient:"), gradient);
}

LoudnessTab::LoudnessTab(AppSettings &settings, QWidget *parent) : QWidget(parent)
{
    auto *binder = new SettingsBinder(settings, this);
    QFormLayout *form = formFor(this);

    auto *show = new QCheckBox(QStringLiteral("Show the loudness meter (EBU R128)"));
    show->setObjectName(QStringLiteral("showLUFSMeter"));
    binder->bind(show, &AppSettings::showLUFSMeter, &AppSettings::setShowLUFSMeter);
    form->addRow(show);

    auto *rings = new QRadioButton(QStringLiteral("Rings"));
    rings->setObjectName(QStringLiteral("lufsRings"));
    auto *bars = new QRadioButton(QStringLiteral("Bars"));
    bars->setObjectName(QStringLiteral("lufsBars"));
    connect(rings, &QRadioButton::toggled, binder, [&settings](bool on) {
        if (on) settings.setLufsRingMode(true);
    });
    connect(bars, &QRadioButton::toggled, binder, [&settings](bool on) {
        if (on) settings.setLufsRingMode(false);
    });
    binder->addRefresher([&settings, rings, bars] {
        const QSignalBlocker ringBlocker(rings);
        const QSignalBlocker barBlocker(bars);
        (settings.lufsRingMode() ? rings : bars)->setChecked(true);
    });
    auto *style = new QHBoxLayout;
    style->addWidget(rings);
    style->addWidget(bars);
    style->addStretch(1);
    form->addRow(QStringLiteral("Display:"), style);

    QDoubleSpinBox *fontSize = doubleSpin(6.0, 36.0, 1.0, 0, QStringLiteral(" pt"));
    fontSize->setObjectName(QStringLiteral("lufsMeterFontSize"));
    binder->bind(fontSize, &AppSettings::lufsMeterFontSize, &AppSettings::setLufsMeterFontSize);
    form->addRow(QStringLiteral("Font size (bars):"), fontSize);

    auto *preset = new QComboBox;
    preset->setObjectName(QStringLiteral("broadcastPreset"));
    for (const BroadcastPreset &p : broadcast::builtInPresets()) {
        const QString name = QString::fromStdString(p.name);
        preset->addItem(QStringLiteral("%1  (%2 LUFS ±%3, %4 dBTP)")
                            .arg(name)
                            .arg(p.integratedTarget)
                            .arg(p.tolerance)
                            .arg(p.truePeakLimit),
                        name);
    }
    binder->bind(
        preset, [&settings] { return settings.selectedBroadcastPresetName(); },
        [&settings](const QString &name) { settings.setSelectedBroadcastPresetName(name); });
    form->addRow(QStringLiteral("Delivery target:"), preset);

    auto *showTarget = new QCheckBox(QStringLiteral("Judge the loudness against the target"));
    showTarget->setObjectName(QStringLiteral("showBroadcastPreset"));
    binder->bind(showTarget, &AppSettings::showBroadcastPreset, &AppSettings::setShowBroadcastPreset);
    form->addRow(showTarget);

    auto *showHistory = new QCheckBox(QStringLiteral("Show the loudness history"));
    showHistory->setObjectName(QStringLiteral("showLoudnessHistory"));
    binder->bind(showHistory, &AppSettings::showLoudnessHistory, &AppSettings::setShowLoudnessHistory);
    form->addRow(showHistory);

    QDoubleSpinBox *historyHeight = doubleSpin(60.0, 400.0, 10.0, 0, QStringLiteral(" points"));
    historyHeight->setObjectName(QStringLiteral("loudnessHistoryHeight"));
    binder->bind(historyHeight, &AppSettings::loudnessHistoryHeight, &AppSettings::setLoudnessHistoryHeight);
    form->addRow(QStringLiteral("History height:"), historyHeight);

    auto *span = new QComboBox;
    span->setObjectName(QStringLiteral("loudnessHistoryMinutes"));
    for (const int minutes : {1, 5, 15, 60})
        span->addItem(minutes == 1 ? QStringLiteral("1 minute") : QStringLiteral("%1 minutes").arg(minutes),
                      QString::number(minutes));
    binder->bind(
        span, [&settings] { return QString::number(settings.loudnessHistoryMinutes()); },
        [&settings](const QString &minutes) { settings.setLoudnessHistoryMinutes(minutes.toLongLong()); });
    form->addRow(QStringLiteral("History span:"), span);
}
