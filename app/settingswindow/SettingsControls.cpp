#include "app/settingswindow/SettingsControls.h"

#include "app/gradients/GradientSwatch.h"
#include "app/settingswindow/SettingsBinder.h"
#include "settings/AppSettings.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>

#include <memory>

namespace settings_controls {

QDoubleSpinBox *doubleSpin(double minimum, double maximum, double step, int decimals, const QString &suffix)
{
    auto *box = new QDoubleSpinBox;
    box->setRange(minimum, maximum);
    box->setSingleStep(step);
    box->setDecimals(decimals);
    box->setSuffix(suffix);
    box->setAccelerated(true);
    return box;
}

QSpinBox *intSpin(int minimum, int maximum, const QString &suffix)
{
    auto *box = new QSpinBox;
    box->setRange(minimum, maximum);
    box->setSuffix(suffix);
    return box;
}

QLabel *note(const QString &text)
{
    auto *label = new QLabel(text);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::Disabled, QPalette::WindowText));
    label->setPalette(palette);
    return label;
}

QComboBox *gradientPicker(SettingsBinder &binder, const QString &sameLabel, QString (*currentKey)(const SettingsBinder &),
                          void (*choose)(SettingsBinder &, const QString &))
{
    auto *box = new QComboBox;
    // The list is rebuilt only when a preset was added, edited or removed, so an
    // unrelated setting does not reset an open popup.
    auto listed = std::make_shared<QStringList>();
    QObject::connect(box, &QComboBox::activated, &binder,
            [&binder, box, choose](int index) { choose(binder, box->itemData(index).toString()); });
    binder.addRefresher([&binder, box, listed, sameLabel, currentKey] {
        QStringList signature;
        for (const GradientPreset &preset : binder.settings().gradientPresets())
            signature << QString::fromStdString(gradient_presets::encodeJson(preset));
        if (signature != *listed) {
            fillGradientPicker(box, binder.settings(), sameLabel);
            *listed = signature;
        }
        const QSignalBlocker blocker(box);
        box->setCurrentIndex(box->findData(currentKey(binder)));
    });
    return box;
}

} // namespace settings_controls
