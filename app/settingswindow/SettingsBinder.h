#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <vector>

class AppSettings;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QSpinBox;

// Keeps a page of controls and the settings in step. A control writes its setting the
// moment it changes; when the settings change (from this page, a menu or an import)
// every control is set from them again with its signals blocked, so nothing echoes
// back and no write loops.
class SettingsBinder final : public QObject {
    Q_OBJECT

public:
    using BoolGetter = bool (AppSettings::*)() const;
    using BoolSetter = void (AppSettings::*)(const bool &);
    using DoubleGetter = double (AppSettings::*)() const;
    using DoubleSetter = void (AppSettings::*)(const double &);
    using IntGetter = qint64 (AppSettings::*)() const;
    using IntSetter = void (AppSettings::*)(const qint64 &);

    explicit SettingsBinder(AppSettings &settings, QObject *parent = nullptr);

    AppSettings &settings() { return settings_; }
    const AppSettings &settings() const { return settings_; }

    void bind(QCheckBox *box, BoolGetter get, BoolSetter set);
    void bind(QDoubleSpinBox *box, DoubleGetter get, DoubleSetter set);
    void bind(QSpinBox *box, IntGetter get, IntSetter set);
    // A combo box whose items carry their stored text as item data.
    void bind(QComboBox *box, std::function<QString()> get, std::function<void(const QString &)> set);

    // Any other control: `refresh` sets it from the settings (signals are the caller's).
    void addRefresher(std::function<void()> refresh);
    // Sets every control from the settings now.
    void refresh();

private:
    AppSettings &settings_;                       // what the controls edit
    std::vector<std::function<void()>> refreshers_; // one per control, in binding order
};
