#pragma once

#include <QWidget>

class AppSettings;
class RangeEditor;
class SettingsBinder;

// Settings of the level meter: scale and ballistics, size, peak hold, the numeric
// read-out, background colour, gradient and the custom range.
class LevelMeterTab final : public QWidget {
    Q_OBJECT

public:
    explicit LevelMeterTab(AppSettings &settings, QWidget *parent = nullptr);

    RangeEditor *rangeEditor() const { return rangeEditor_; }

signals:
    void gradientEditorRequested();

private:
    QWidget *scaleGroup();
    QWidget *meterGroup();
    QWidget *readoutGroup();
    QWidget *rangeGroup();
    void chooseBackgroundColor();

    AppSettings &settings_;              // what the page edits
    SettingsBinder *binder_;             // keeps controls and settings in step (child)
    RangeEditor *rangeEditor_ = nullptr; // the custom range's two handles
};
