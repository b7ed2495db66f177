#include "app/services/FeedbackSheet.h"

#include "app/settingswindow/SettingsControls.h"

#include "capture/AudioEngineControl.h"
#include "engine/AudioEngine.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStringList>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// A secondary line: grey and word-wrapped, like the notes of the settings pages.
QLabel *secondary(const QString &text) { return settings_controls::note(text); }

QString captureMode(const AudioEngine &engine, const AudioEngineControl &control)
{
    const CaptureBackend *backend = control.activeCaptureBackend();
    if (engine.testSignalEnabled()) return QStringLiteral("test signal");
    if (!backend) return QStringLiteral("none");
    switch (backend->kind()) {
    case CaptureBackend::Kind::defaultInput:
    case CaptureBackend::Kind::device: return QStringLiteral("device");
    case CaptureBackend::Kind::testSignal: return QStringLiteral("test signal");
    case CaptureBackend::Kind::fileSource: return QStringLiteral("file");
    case CaptureBackend::Kind::processTap:
        return QStringLiteral("process tap (%1)").arg(control.activeProcessTapName());
    case CaptureBackend::Kind::appAudio: {
        QStringList apps = control.selectedApps().values();
        apps.sort();
        return QStringLiteral("application audio (%1)").arg(apps.join(QStringLiteral(", ")));
    }
    }
    return QStringLiteral("none");
}

} // namespace

FeedbackSheet::FeedbackSheet(AppSettings &settings, AudioEngine &engine, AudioEngineControl *control,
                             QWidget *parent)
    : QDialog(parent),
      settings_(settings),
      engine_(engine),
      control_(control),
      appVersion_(FeedbackService::appVersion()),
      osVersion_(FeedbackService::osVersion()),
      userName_(loginName()),
      messageEdit_(new QPlainTextEdit),
      screenshotToggle_(new QCheckBox(QStringLiteral("Aktuellen Screenshot mitschicken"))),
      screenshotNote_(secondary({})),
      screenshotPreview_(new QLabel),
      statusIcon_(new QLabel),
      statusLabel_(new QLabel),
      sendButton_(new QPushButton(QStringLiteral("Senden"))),
      closeButton_(new QPushButton(QStringLiteral("Abbrechen")))
{
    setObjectName(QStringLiteral("feedback"));
    setWindowTitle(QStringLiteral("Feedback an Trell"));

    auto *title = new QLabel(QStringLiteral("Feedback an Trell"));
    QFont titleFont = title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.3);
    title->setFont(titleFont);

    messageEdit_->setPlaceholderText(QStringLiteral("Was funktioniert nicht / was wäre cool / wo hängst du?"));
    messageEdit_->setTabChangesFocus(true);
    messageEdit_->setMinimumHeight(140);
    screenshotPreview_->setVisible(false);

    auto *infoTitle = new QLabel(QStringLiteral("Wird automatisch mitgeschickt (zur Diagnose)"));
    QFont infoFont = infoTitle->font();
    infoFont.setBold(true);
    infoTitle->setFont(infoFont);
    auto *info = new QVBoxLayout;
    info->setSpacing(2);
    info->addWidget(infoTitle);
    info->addWidget(secondary(QStringLiteral("KelvraMeters – ") + appVersion_));
    info->addWidget(secondary(osVersion_));
    info->addWidget(secondary(userName_));
    info->addWidget(secondary(QStringLiteral("Außerdem: Meter-Konfiguration + Audio-Status. Keine persönlichen Daten.")));

    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    statusIcon_->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning, nullptr, this).pixmap(iconSize));
    statusLabel_->setWordWrap(true);
    statusLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *statusRow = new QHBoxLayout;
    statusRow->addWidget(statusIcon_, 0, Qt::AlignTop);
    statusRow->addWidget(statusLabel_, 1);

    auto *buttons = new QDialogButtonBox;
    buttons->addButton(closeButton_, QDialogButtonBox::RejectRole);
    buttons->addButton(sendButton_, QDialogButtonBox::AcceptRole);
    // Return belongs to the message field; the highlighted button is still "Senden".
    closeButton_->setAutoDefault(false);
    sendButton_->setAutoDefault(false);
    sendButton_->setDefault(true);
    messageEdit_->setFocus();

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(secondary(QStringLiteral("Geht direkt rein. Du musst nichts kopieren.")));
    layout->addWidget(messageEdit_, 1);
    layout->addWidget(screenshotToggle_);
    layout->addWidget(screenshotNote_);
    layout->addWidget(screenshotPreview_, 0, Qt::AlignLeft);
    layout->addSpacing(6);
    layout->addLayout(info);
    layout->addSpacing(6);
    layout->addLayout(statusRow);
    layout->addWidget(buttons);

    connect(messageEdit_, &QPlainTextEdit::textChanged, this, &FeedbackSheet::refresh);
    connect(screenshotToggle_, &QCheckBox::toggled, this, &FeedbackSheet::setScreenshotMitschicken);
    // Accepting would close the sheet; "Senden" keeps it open to show the outcome.
    connect(buttons, &QDialogButtonBox::accepted, this, &FeedbackSheet::send);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    resize(460, 540);
    refresh();
}

QString FeedbackSheet::loginName()
{
    for (const char *variable : {"USER", "LOGNAME"}) {
        const QString name = qEnvironmentVariable(variable);
        if (!name.isEmpty()) return name;
    }
    return QDir::home().dirName();
}

QString FeedbackSheet::text() const { return messageEdit_->toPlainText(); }

QString FeedbackSheet::audioDiagnose(const AudioEngine &engine, const AudioEngineControl *control)
{
    QStringList lines{QStringLiteral("Audio-Status:")};
    if (!control) {
        lines << QStringLiteral("  Input device: none (no audio system)");
    } else {
        lines << QStringLiteral("  Input device: ") + control->displayName(control->selectedInputDevice());
        lines << QStringLiteral("  Capture mode: ") + captureMode(engine, *control);
        lines << QStringLiteral("  Running: ") + (control->isRunning() ? QStringLiteral("yes") : QStringLiteral("no"));
        if (const CaptureBackend *backend = control->activeCaptureBackend())
            lines << QStringLiteral("  Sample rate: %1 Hz, %2 ch").arg(backend->sampleRate()).arg(backend->channelCount());
    }
    const QString message = engine.errorMessage();
    lines << QStringLiteral("  Status: ") + (message.isEmpty() ? QStringLiteral("ok") : message);
    return lines.join(QLatin1Char('\n'));
}

FeedbackService::Payload FeedbackSheet::payload() const
{
    FeedbackService::Payload payload;
    payload.text = text();
    payload.userName = userName_;
    payload.appVersion = appVersion_;
    payload.osVersion = osVersion_;
    payload.appModule = QString::fromLatin1(herkunft);
    payload.diagnose =
        FeedbackService::sammeleDiagnose(settings_) + QStringLiteral("\n\n") + audioDiagnose(engine_, control_);
    if (screenshotMitschicken_) payload.screenshotPNG = screenshotData_;
    return payload;
}

void FeedbackSheet::send()
{
    if (sending_ || takingScreenshot_) return;
    sending_ = true;
    status_.reset();
    refresh();
    service_.send(payload(), [this](const FeedbackResult &result) { finishSending(result); });
}

void FeedbackSheet::finishSending(const FeedbackResult &result)
{
    sending_ = false;
    statusOK_ = result.ok();
    if (statusOK_) {
        status_ = QStringLiteral("Danke! Feedback ist drin (ID: %1)").arg(result.recordId);
        // Sent: a second press must not send the same report again.
        const QSignalBlocker textBlocker(messageEdit_);
        messageEdit_->clear();
        const QSignalBlocker toggleBlocker(screenshotToggle_);
        screenshotToggle_->setChecked(false);
        screenshotMitschicken_ = false;
        screenshotData_.reset();
        closeButton_->setText(QStringLiteral("Schließen"));
    } else {
        status_ = QStringLiteral("Senden fehlgeschlagen: ") + result.error->description();
    }
    refresh();
}

void FeedbackSheet::setScreenshotMitschicken(bool on)
{
    screenshotMitschicken_ = on;
    ++screenshotRequest_;
    screenshotData_.reset();
    screenshotFailed_ = false;
    takingScreenshot_ = on;
    if (on) {
        const int request = screenshotRequest_;
        capture_.erstelleScreenshot(this, [this, request](std::optional<QByteArray> png) {
            if (request == screenshotRequest_) screenshotTaken(std::move(png));
        });
    }
    refresh();
}

void FeedbackSheet::screenshotTaken(std::optional<QByteArray> png)
{
    takingScreenshot_ = false;
    screenshotData_ = std::move(png);
    if (!screenshotData_) {
        screenshotFailed_ = true;
        const QSignalBlocker blocker(screenshotToggle_);
        screenshotToggle_->setChecked(false);
        screenshotMitschicken_ = false;
    }
    refresh();
}

void FeedbackSheet::refresh()
{
    const bool hasScreenshot = screenshotMitschicken_ && screenshotData_;
    const bool hasContent = !text().trimmed().isEmpty() || hasScreenshot;
    sendButton_->setEnabled(!sending_ && !takingScreenshot_ && hasContent);
    screenshotToggle_->setEnabled(!sending_);

    if (takingScreenshot_)
        screenshotNote_->setText(QStringLiteral("Screenshot wird erzeugt …"));
    else if (screenshotFailed_)
        screenshotNote_->setText(QStringLiteral("Screenshot nicht möglich"));
    screenshotNote_->setVisible(takingScreenshot_ || screenshotFailed_);
    if (hasScreenshot && screenshotPreview_->isHidden()) {
        // A small picture of what will be attached, so nothing goes out unseen.
        const QImage image = QImage::fromData(*screenshotData_, "PNG");
        QPixmap preview = QPixmap::fromImage(
            image.scaled(QSize(220, 120) * devicePixelRatioF(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
        preview.setDevicePixelRatio(devicePixelRatioF());
        screenshotPreview_->setPixmap(preview);
        screenshotPreview_->setToolTip(QStringLiteral("%1 × %2").arg(image.width()).arg(image.height()));
    }
    screenshotPreview_->setVisible(hasScreenshot);

    QPalette palette = statusLabel_->palette();
    if (sending_) {
        statusLabel_->setText(QStringLiteral("Wird gesendet …"));
        palette.setColor(QPalette::WindowText, this->palette().color(QPalette::Disabled, QPalette::WindowText));
    } else {
        statusLabel_->setText(status_.value_or(QString()));
        palette.setColor(QPalette::WindowText, statusOK_ ? QColor(0x4c, 0xc2, 0x6a) : QColor(0xff, 0x8a, 0x3d));
    }
    statusLabel_->setPalette(palette);
    statusLabel_->setVisible(sending_ || status_.has_value());
    statusIcon_->setVisible(!sending_ && status_.has_value() && !statusOK_);
}
