#include "app/settingswindow/SettingsBinder.h"

#include "settings/AppSettings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QSignalBlocker>
#include <QSpinBox>

#include <functional>

SettingsBinder::SettingsBinder(AppSettings &settings, QObject *parent) : QObject(parent), settings_(settings)
{
    connect(&settings_, &AppSettings::changed, this, &SettingsBinder::refresh);
}

void SettingsBinder::bind(QCheckBox *box, BoolGetter get, BoolSetter set)
{
    connect(box, &QCheckBox::toggled, this, [this, set](bool checked) { std::invoke(set, settings_, checked); });
    addRefresher([this, box, get] {
        const QSignalBlocker blocker(box);
        box->setChecked((settings_.*get)());
    });
}

void SettingsBinder::bind(QDoubleSpinBox *box, DoubleGetter get, DoubleSetter set)
{
    // Commit on Enter or focus change, not on every keystroke of a half-typed number.
    box->setKeyboardTracking(false);
    connect(box, &QDoubleSpinBox::valueChanged, this, [this, set](double value) { std::invoke(set, settings_, value); });
    addRefresher([this, box, get] {
        const double value = (settings_.*get)();
        if (box->value() == value) return; // leave the text alone while the user edits it
        const QSignalBlocker blocker(box);
        box->setValue(value);
    });
}

void SettingsBinder::bind(QSpinBox *box, IntGetter get, IntSetter set)
{
    box->setKeyboardTracking(false);
    connect(box, &QSpinBox::valueChanged, this, [this, set](int value) { std::invoke(set, settings_, value); });
    addRefresher([this, box, get] {
        const int value = static_cast<int>((settings_.*get)());
        if (box->value() == value) return;
        const QSignalBlocker blocker(box);
        box->setValue(value);
    });
}

void SettingsBinder::bind(QComboBox *box, std::function<QString()> get, std::function<void(const QString &)> set)
{
    connect(box, &QComboBox::activated, this, [box, set](int index) { set(box->itemData(index).toString()); });
    addRefresher([box, get] {
        const QSignalBlocker blocker(box);
        box->setCurrentIndex(box->findData(get()));
    });
}

void SettingsBinder::addRefresher(std::function<void()> refresh)
{
    refresh();
    refreshers_.push_back(std::move(refresh));
}

void SettingsBinder::refresh()
{
    for (const std::function<void()> &refresh : refreshers_) refresh();
}
