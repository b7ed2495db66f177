#pragma once

#include <QWidget>

class AudioEngine;
class AudioEngineControl;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

// The audio source: the input picker, the test signal, start and stop, and the one
// status line of the capture layer. Without a capture control (no audio system in
// this run) the page says so and offers nothing.
class InputTab final : public QWidget {
    Q_OBJECT

public:
    InputTab(AudioEngine &engine, AudioEngineControl *control, QWidget *parent = nullptr);

private:
    void refreshDevices();
    void refreshRunning();
    void refreshStatus();

    AudioEngine &engine_;            // test signal and status line
    AudioEngineControl *control_;    // source choice and start/stop; may be null
    QComboBox *source_ = nullptr;    // "None", "System Default", devices
    QCheckBox *testSignal_ = nullptr;
    QPushButton *startStop_ = nullptr;
    QLabel *running_ = nullptr;      // "Capturing" / "Stopped"
    QLabel *status_ = nullptr;       // errorMessage
};
