#pragma once

#include <QWidget>

class AppSettings;
class AudioEngine;
class AudioEngineControl;
class LevelMeterTab;
class QTabWidget;

// The settings window: one tab per part of the meter and one for the input. Every
// control writes its setting at once, so the meters follow while the window is open.
class SettingsWindow final : public QWidget {
    Q_OBJECT

public:
    SettingsWindow(AppSettings &settings, AudioEngine &engine, AudioEngineControl *control, QWidget *parent = nullptr);

    QTabWidget *tabs() const { return tabs_; }
    LevelMeterTab *levelMeterTab() const { return levelMeterTab_; }

signals:
    void gradientEditorRequested();

private:
    QTabWidget *tabs_;               // the pages (children)
    LevelMeterTab *levelMeterTab_;   // first page
};
