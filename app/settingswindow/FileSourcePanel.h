#pragma once

#include <QGroupBox>
#include <QString>

class AudioEngine;
class AudioEngineControl;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

// "Play file through meters": meters an audio file as if it played, through the same
// path as live audio but without playing it aloud, looping or stopping at its end. The
// status line shows the file and where it is ("mix.wav — 1:23 / 4:05") or why it could
// not be played. Nothing here is remembered: a file is a one-off check.
class FileSourcePanel final : public QGroupBox {
    Q_OBJECT

public:
    // control may be nullptr (a run without capture): the panel is then disabled.
    FileSourcePanel(AudioEngine &engine, AudioEngineControl *control, QWidget *parent = nullptr);

    // The file the next start plays.
    void setFile(const QString &path);
    QString file() const;
    // Asks for a file.
    void chooseFile();
    // Starts the chosen file, or stops the one playing.
    void startOrStop();
    QString statusText() const;

    // "mix.wav — 1:23 / 4:05": seconds as m:ss, or h:mm:ss from an hour on.
    static QString positionText(const QString &fileName, double positionSeconds, double durationSeconds);

private:
    void refresh();

    AudioEngine &engine_;
    AudioEngineControl *control_;      // none: disabled
    QLineEdit *path_ = nullptr;        // the file the next start plays
    QRadioButton *loop_ = nullptr;     // at the end: start again
    QRadioButton *stopAtEnd_ = nullptr; // at the end: stop
    QPushButton *startStop_ = nullptr;
    QLabel *status_ = nullptr;         // position, end or error
    QString failure_;                  // why the last start failed; cleared by the next
};
