#pragma once

#include <QWidget>

class AudioEngine;
class AudioEngineControl;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

// What the meters listen to: start and stop with the one status line of the capture
// layer, then the three kinds of source, one group each: an input device (with the
// test signal), one application's playback (process tap) and the sum of chosen
// applications. Without a capture control (no audio system in this run) the page says
// so and offers nothing but the test signal.
class InputTab final : public QWidget {
    Q_OBJECT

public:
    InputTab(AudioEngine &engine, AudioEngineControl *control, QWidget *parent = nullptr);

private:
    void refreshDevices();
    void refreshRunning();
    void refreshStatus();
    bool neverChoseSource() const;

    AudioEngine &engine_;            // test signal and status line
    AudioEngineControl *control_;    // source choice and start/stop; may be null
    QComboBox *source_ = nullptr;    // "None", "System Default", devices
    QCheckBox *testSignal_ = nullptr;
    QPushButton *startStop_ = nullptr;
    QLabel *running_ = nullptr;      // "Capturing" / "Stopped"
    QLabel *status_ = nullptr;       // errorMessage
};
