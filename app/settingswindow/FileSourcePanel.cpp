#include "app/settingswindow/FileSourcePanel.h"

#include "app/settingswindow/SettingsControls.h"
#include "capture/AudioEngineControl.h"
#include "capture/FileSourceCaptureImpl.h"
#include "engine/AudioEngine.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStandardPaths>
#include <QVBoxLayout>

#include <cmath>

namespace {

QString clockText(double seconds)
{
    const auto total = static_cast<long long>(std::floor(std::max(seconds, 0.0)));
    const long long hours = total / 3600;
    const long long minutes = total / 60 % 60;
    const long long secs = total % 60;
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(secs, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(minutes).arg(secs, 2, 10, QLatin1Char('0'));
}

} // namespace

FileSourcePanel::FileSourcePanel(AudioEngine &engine, AudioEngineControl *control, QWidget *parent)
    : QGroupBox(QStringLiteral("Play file through meters"), parent), engine_(engine), control_(control)
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(settings_controls::note(QStringLiteral(
        "Meters an audio file as if it played, without playing it aloud. It replaces the source until you "
        "stop it or choose another one, and is not remembered.")));

    path_ = new QLineEdit;
    path_->setObjectName(QStringLiteral("sourceFilePath"));
    path_->setPlaceholderText(QStringLiteral("Audio file"));
    auto *choose = new QPushButton(QStringLiteral("Choose…"));
    choose->setObjectName(QStringLiteral("chooseSourceFile"));
    auto *fileRow = new QHBoxLayout;
    fileRow->addWidget(path_, 1);
    fileRow->addWidget(choose);
    layout->addLayout(fileRow);

    loop_ = new QRadioButton(QStringLiteral("Loop"));
    loop_->setObjectName(QStringLiteral("sourceFileLoop"));
    stopAtEnd_ = new QRadioButton(QStringLiteral("Stop at end"));
    stopAtEnd_->setObjectName(QStringLiteral("sourceFileStopAtEnd"));
    loop_->setChecked(true);
    startStop_ = new QPushButton;
    startStop_->setObjectName(QStringLiteral("sourceFileStartStop"));
    auto *controlRow = new QHBoxLayout;
    controlRow->addWidget(startStop_);
    controlRow->addWidget(loop_);
    controlRow->addWidget(stopAtEnd_);
    controlRow->addStretch(1);
    layout->addLayout(controlRow);

    status_ = settings_controls::note();
    status_->setObjectName(QStringLiteral("sourceFileStatus"));
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(status_);

    connect(choose, &QPushButton::clicked, this, &FileSourcePanel::chooseFile);
    connect(startStop_, &QPushButton::clicked, this, &FileSourcePanel::startOrStop);
    connect(path_, &QLineEdit::returnPressed, this, &FileSourcePanel::startOrStop);
    if (control_) {
        connect(control_, &AudioEngineControl::fileSourceChanged, this, &FileSourcePanel::refresh);
        connect(control_, &AudioEngineControl::fileSourcePositionChanged, this, &FileSourcePanel::refresh);
        connect(control_, &AudioEngineControl::fileSourceEnded, this, &FileSourcePanel::refresh);
    } else {
        setEnabled(false);
    }
    refresh();
}

void FileSourcePanel::setFile(const QString &path) { path_->setText(path); }

QString FileSourcePanel::file() const { return path_->text().trimmed(); }

void FileSourcePanel::chooseFile()
{
    const QString start = file().isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::MusicLocation)
                                           : QFileInfo(file()).absolutePath();
    const QString chosen = QFileDialog::getOpenFileName(
        this, QStringLiteral("Play File Through Meters"), start,
        QStringLiteral("Audio files (*.wav *.flac *.ogg *.oga *.opus *.mp3 *.aif *.aiff *.caf *.w64 *.rf64);;"
                       "All files (*)"));
    if (chosen.isEmpty()) return;
    setFile(chosen);
    if (control_ && control_->isFileSourceRunning()) startOrStop(); // stop the previous file first
    startOrStop();
}

void FileSourcePanel::startOrStop()
{
    if (!control_) return;
    const FileSourceCaptureImpl *playing = control_->fileSource();
    if (playing && !playing->hasEnded()) {
        control_->stopFileSource();
        return;
    }
    failure_.clear();
    if (file().isEmpty()) {
        failure_ = QStringLiteral("Choose a file first.");
    } else if (!control_->startFileSource(file(), stopAtEnd_->isChecked() ? AtFileEnd::stop : AtFileEnd::loop)) {
        failure_ = engine_.errorMessage();
    }
    refresh();
}

QString FileSourcePanel::statusText() const { return status_->text(); }

QString FileSourcePanel::positionText(const QString &fileName, double positionSeconds, double durationSeconds)
{
    return QStringLiteral("%1 \u2014 %2 / %3").arg(fileName, clockText(positionSeconds), clockText(durationSeconds));
}

void FileSourcePanel::refresh()
{
    const FileSourceCaptureImpl *playing = control_ ? control_->fileSource() : nullptr;
    const bool ended = playing && playing->hasEnded();
    startStop_->setText(playing && !ended ? QStringLiteral("Stop") : QStringLiteral("Start"));
    if (playing) {
        const QString name = QFileInfo(playing->path()).fileName();
        QString text = positionText(name, ended ? playing->duration() : playing->position(), playing->duration());
        if (ended) text += QStringLiteral(" (ended)");
        status_->setText(text);
    } else if (!failure_.isEmpty()) {
        status_->setText(failure_);
    } else {
        status_->setText(QStringLiteral("No file playing"));
    }
}
