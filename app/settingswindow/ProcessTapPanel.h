#pragma once

#include <QGroupBox>
#include <QTimer>

class AppSettings;
class AudioEngineControl;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFormLayout;
class QLabel;
class QPushButton;
class SettingsBinder;

// Meters one application by tapping its playback streams: the picker of processes that
// play audio, start and stop, how its channels become the meter's stereo pair, the
// mixdown gain and its calibration, and a live read-out of what the tap receives.
// Without a capture control the group is shown but disabled.
class ProcessTapPanel final : public QGroupBox {
    Q_OBJECT

public:
    ProcessTapPanel(AppSettings &settings, AudioEngineControl *control, QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void addPickerRows();
    void addMixdownRows();
    void refreshProcesses();
    void refreshTap();
    void refreshDiagnostics();
    void toggleTap();
    void calibrate();

    AudioEngineControl *control_;        // the tap's owner; may be null
    SettingsBinder *binder_;             // mixdown settings and their controls (child)
    QFormLayout *form_ = nullptr;        // the group's rows
    QComboBox *process_ = nullptr;       // item data: the process id
    QPushButton *startStop_ = nullptr;   // "Start tap" / "Stop tap"
    QLabel *tapped_ = nullptr;           // what is tapped, or "Not tapping"
    QCheckBox *deterministic_ = nullptr; // own front pair vs mixdown of all channels
    QCheckBox *autoGain_ = nullptr;
    QDoubleSpinBox *gain_ = nullptr;     // linear mixdown gain
    QDoubleSpinBox *reference_ = nullptr; // level of the calibration tone, dBFS
    QPushButton *calibrate_ = nullptr;
    QLabel *calibration_ = nullptr;      // the last calibration's outcome
    QLabel *diagnostics_ = nullptr;      // three monospace lines while a tap runs
    QTimer diagnosticsTimer_;            // runs only while shown and tapping
};
