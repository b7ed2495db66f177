#include "app/settingswindow/LevelMeterTab.h"

#include "app/settingswindow/RangeEditor.h"
#include "app/settingswindow/SettingsBinder.h"
#include "app/settingswindow/SettingsControls.h"
#include "engine/dsp/MeterBallistics.h"
#include "settings/AppSettings.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

using namespace settings_controls;

namespace {

QString fromView(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

QColor toQColor(const RgbColor &color)
{
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue));
}

QString rangeText(double minDb, double maxDb)
{
    return QStringLiteral("%1 dB to %2 dB").arg(minDb, 0, 'f', 0).arg(maxDb, 0, 'f', 0);
}

} // namespace

LevelMeterTab::LevelMeterTab(AppSettings &settings, QWidget *parent)
    : QWidget(parent), settings_(settings), binder_(new SettingsBinder(settings, this))
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(scaleGroup());
    layout->addWidget(meterGroup());
    layout->addWidget(readoutGroup());
    layout->addWidget(rangeGroup());
    layout->addStretch(1);
}

QWidget *LevelMeterTab::scaleGroup()
{
    auto *group = new QGroupBox(QStringLiteral("Scale and Ballistics"));
    auto *form = new QFormLayout(group);

    auto *scale = new QComboBox;
    scale->setObjectName(QStringLiteral("meterScale"));
    for (MeterScale case_ : meter_scale::allCases) scale->addItem(fromView(meter_scale::rawValue(case_)), fromView(meter_scale::rawValue(case_)));
    binder_->bind(
        scale, [this] { return fromView(meter_scale::rawValue(settings_.selectedMeterScale())); },
        [this](const QString &raw) { settings_.setSelectedMeterScaleRaw(raw); });
    form->addRow(QStringLiteral("Scale:"), scale);

    auto *ballistics = new QComboBox;
    ballistics->setObjectName(QStringLiteral("ballistics"));
    for (MeterBallistics mode : meter_ballistics::allCases)
        ballistics->addItem(fromView(meter_ballistics::rawValue(mode)), fromView(meter_ballistics::rawValue(mode)));
    const auto currentMode = [this] {
        return meter_ballistics::fromRawValueOrDefault(settings_.meterBallisticsModeString().toStdString());
    };
    binder_->bind(
        ballistics, [currentMode] { return fromView(meter_ballistics::rawValue(currentMode())); },
        [this](const QString &raw) { settings_.setMeterBallisticsModeString(raw); });
    form->addRow(QStringLiteral("Ballistics:"), ballistics);

    QLabel *description = note();
    binder_->addRefresher([description, currentMode] {
        description->setText(fromView(meter_ballistics::description(currentMode())));
    });
    form->addRow(QString(), description);
    return group;
}

QWidget *LevelMeterTab::meterGroup()
{
    auto *group = new QGroupBox(QStringLiteral("Meter"));
    auto *form = new QFormLayout(group);

    QDoubleSpinBox *size = doubleSpin(0.5, 3.0, 0.1, 1, QStringLiteral(" ×"));
    size->setObjectName(QStringLiteral("meterSize"));
    binder_->bind(size, &AppSettings::meterSize, &AppSettings::setMeterSize);
    form->addRow(QStringLiteral("Size:"), size);

    auto *peakHold = new QCheckBox(QStringLiteral("Show peak hold"));
    peakHold->setObjectName(QStringLiteral("showPeakHold"));
    binder_->bind(peakHold, &AppSettings::showPeakHold, &AppSettings::setShowPeakHold);
    QDoubleSpinBox *holdTime = doubleSpin(0.1, 10.0, 0.1, 1, QStringLiteral(" s"));
    holdTime->setObjectName(QStringLiteral("peakHoldTime"));
    binder_->bind(holdTime, &AppSettings::peakHoldTime, &AppSettings::setPeakHoldTime);
    auto *holdRow = new QHBoxLayout;
    holdRow->addWidget(peakHold);
    holdRow->addWidget(new QLabel(QStringLiteral("Hold for")));
    holdRow->addWidget(holdTime);
    holdRow->addStretch(1);
    form->addRow(QStringLiteral("Peak hold:"), holdRow);

    QComboBox *gradient = gradientPicker(
        *binder_, {}, [](const SettingsBinder &b) { return QString::fromStdString(b.settings().selectedGradient().id.toString()); },
        [](SettingsBinder &b, const QString &id) { b.settings().setSelectedGradientIdString(id); });
    gradient->setObjectName(QStringLiteral("meterGradient"));
    auto *editGradients = new QPushButton(QStringLiteral("Edit Gradients..."));
    connect(editGradients, &QPushButton::clicked, this, &LevelMeterTab::gradientEditorRequested);
    auto *gradientRow = new QHBoxLayout;
    gradientRow->addWidget(gradient, 1);
    gradientRow->addWidget(editGradients);
    form->addRow(QStringLiteral("Gradient:"), gradientRow);

    auto *background = new QPushButton;
    background->setObjectName(QStringLiteral("backgroundColor"));
    background->setMinimumWidth(80);
    connect(background, &QPushButton::clicked, this, &LevelMeterTab::chooseBackgroundColor);
    binder_->addRefresher([this, background] {
        const QColor color = toQColor(settings_.backgroundColor());
        background->setText(color.name());
        background->setStyleSheet(QStringLiteral("background-color: %1; color: %2;")
                                      .arg(color.name(), color.lightnessF() > 0.5 ? QStringLiteral("black")
                                                                                  : QStringLiteral("white")));
    });
    form->addRow(QStringLiteral("Background:"), background);
    return group;
}

QWidget *LevelMeterTab::readoutGroup()
{
    auto *group = new QGroupBox(QStringLiteral("Numeric Value"));
    auto *form = new QFormLayout(group);

    auto *show = new QCheckBox(QStringLiteral("Show the value above the bars"));
    show->setObjectName(QStringLiteral("showNumericalValue"));
    binder_->bind(show, &AppSettings::showNumericalValue, &AppSettings::setShowNumericalValue);
    form->addRow(show);

    auto *followsHold = new QCheckBox(QStringLiteral("Show the held peak instead of the current peak"));
    followsHold->setObjectName(QStringLiteral("numericalShowsPeakHold"));
    binder_->bind(followsHold, &AppSettings::numericalShowsPeakHold, &AppSettings::setNumericalShowsPeakHold);
    form->addRow(followsHold);

    QSpinBox *digits = intSpin(0, 2);
    digits->setObjectName(QStringLiteral("fractionalDigits"));
    binder_->bind(digits, &AppSettings::fractionalDigits, &AppSettings::setFractionalDigits);
    form->addRow(QStringLiteral("Decimal digits:"), digits);

    QDoubleSpinBox *fontSize = doubleSpin(8.0, 96.0, 1.0, 0, QStringLiteral(" pt"));
    fontSize->setObjectName(QStringLiteral("numericalFontSize"));
    binder_->bind(fontSize, &AppSettings::numericalFontSize, &AppSettings::setNumericalFontSize);
    form->addRow(QStringLiteral("Font size:"), fontSize);

    QDoubleSpinBox *spacing = doubleSpin(0.0, 60.0, 1.0, 0, QStringLiteral(" pt"));
    spacing->setObjectName(QStringLiteral("numericalBarSpacing"));
    binder_->bind(spacing, &AppSettings::numericalBarSpacing, &AppSettings::setNumericalBarSpacing);
    form->addRow(QStringLiteral("Space to bars:"), spacing);

    auto *above = new QCheckBox(QStringLiteral("Above"));
    above->setObjectName(QStringLiteral("showDividerAbove"));
    binder_->bind(above, &AppSettings::showDividerAbove, &AppSettings::setShowDividerAbove);
    auto *below = new QCheckBox(QStringLiteral("Below"));
    below->setObjectName(QStringLiteral("showDividerBelow"));
    binder_->bind(below, &AppSettings::showDividerBelow, &AppSettings::setShowDividerBelow);
    auto *dividers = new QHBoxLayout;
    dividers->addWidget(above);
    dividers->addWidget(below);
    dividers->addStretch(1);
    form->addRow(QStringLiteral("Divider lines:"), dividers);
    return group;
}

QWidget *LevelMeterTab::rangeGroup()
{
    auto *group = new QGroupBox(QStringLiteral("Range"));
    auto *layout = new QVBoxLayout(group);

    auto *useCustom = new QCheckBox(QStringLiteral("Use a custom range instead of the scale's"));
    useCustom->setObjectName(QStringLiteral("useCustomRange"));
    binder_->bind(useCustom, &AppSettings::useCustomRange, &AppSettings::setUseCustomRange);
    layout->addWidget(useCustom);

    rangeEditor_ = new RangeEditor;
    rangeEditor_->setObjectName(QStringLiteral("rangeEditor"));
    layout->addWidget(rangeEditor_);
    QLabel *rangeLabel = note();
    layout->addWidget(rangeLabel);
    connect(rangeEditor_, &RangeEditor::rangeEdited, this, [this](double minDb, double maxDb) {
        if (minDb != settings_.meterRangeMin()) settings_.setMeterRangeMin(minDb);
        if (maxDb != settings_.meterRangeMax()) settings_.setMeterRangeMax(maxDb);
    });

    auto *presets = new QHBoxLayout;
    presets->addWidget(new QLabel(QStringLiteral("Presets:")));
    for (const meter_range::RangePreset &preset : meter_range::presets()) {
        auto *button = new QPushButton(QString::fromUtf8(preset.label));
        connect(button, &QPushButton::clicked, this, [this, preset] {
            settings_.setMeterRangeMin(preset.minDb);
            settings_.setMeterRangeMax(preset.maxDb);
            settings_.setUseCustomRange(true);
        });
        presets->addWidget(button);
    }
    presets->addStretch(1);
    layout->addLayout(presets);

    binder_->addRefresher([this, rangeLabel] {
        const bool custom = settings_.useCustomRange();
        rangeEditor_->setRange(settings_.meterRangeMin(), settings_.meterRangeMax());
        rangeEditor_->setEnabled(custom);
        rangeLabel->setText(custom ? QStringLiteral("The meter shows ") +
                                         rangeText(settings_.meterRangeMin(), settings_.meterRangeMax()) + "."
                                   : QStringLiteral("The meter shows the scale's range, ") +
                                         rangeText(settings_.effectiveMinDb(), settings_.effectiveMaxDb()) + ".");
    });
    return group;
}

void LevelMeterTab::chooseBackgroundColor()
{
    const QColor current = toQColor(settings_.backgroundColor());
    const QColor chosen = QColorDialog::getColor(current, this, QStringLiteral("Background Colour"));
    if (!chosen.isValid()) return;
    settings_.setBackgroundColor({chosen.redF(), chosen.greenF(), chosen.blueF(), 1.0});
}
