#pragma once

#include <QString>

class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;
class SettingsBinder;

// Small factories for the settings pages, so every page builds its controls alike.
namespace settings_controls {

QDoubleSpinBox *doubleSpin(double minimum, double maximum, double step, int decimals, const QString &suffix = {});
QSpinBox *intSpin(int minimum, int maximum, const QString &suffix = {});
// A grey, word-wrapped explanation under a control.
QLabel *note(const QString &text = {});
// A gradient picker kept in step with the preset list and one gradient setting.
// `sameLabel` adds the "same as the level meter" choice first.
QComboBox *gradientPicker(SettingsBinder &binder, const QString &sameLabel, QString (*currentKey)(const SettingsBinder &),
                          void (*choose)(SettingsBinder &, const QString &));

} // namespace settings_controls
