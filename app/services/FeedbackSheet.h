#pragma once

#include "app/services/ScreenshotCapture.h"
#include "tools/feedback/FeedbackService.h"

#include <QByteArray>
#include <QDialog>
#include <QString>

#include <optional>

class AppSettings;
class AudioEngine;
class AudioEngineControl;
class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

// "Feedback an Trell": the user writes a message, may attach a screenshot, and sends
// it with the diagnostics text. Nothing leaves the machine before "Senden" is pressed.
// The texts are German on purpose, like the menu item that opens it.
class FeedbackSheet final : public QDialog {
    Q_OBJECT

public:
    // The origin sent as app_module.
    static constexpr const char *herkunft = "KelvraMeters Linux";

    // `control` may be null (no audio system); engine and control must outlive the sheet.
    FeedbackSheet(AppSettings &settings, AudioEngine &engine, AudioEngineControl *control, QWidget *parent = nullptr);

    // The audio status lines added to the diagnostics text.
    static QString audioDiagnose(const AudioEngine &engine, const AudioEngineControl *control);
    // The login name sent as user_name.
    static QString loginName();

    FeedbackService &service() { return service_; }
    QString text() const;
    bool screenshotMitschicken() const { return screenshotMitschicken_; }
    const std::optional<QByteArray> &screenshotData() const { return screenshotData_; }
    bool isTakingScreenshot() const { return takingScreenshot_; }
    bool isSending() const { return sending_; }
    const std::optional<QString> &status() const { return status_; }
    bool statusOK() const { return statusOK_; }

    QPlainTextEdit *messageEdit() const { return messageEdit_; }
    QCheckBox *screenshotToggle() const { return screenshotToggle_; }
    QPushButton *sendButton() const { return sendButton_; }

    // What "Senden" does.
    void send();

private:
    void setScreenshotMitschicken(bool on);
    void screenshotTaken(std::optional<QByteArray> png);
    void finishSending(const FeedbackResult &result);
    // Brings every widget in line with the state below.
    void refresh();
    FeedbackService::Payload payload() const;

    AppSettings &settings_;          // read for the diagnostics text
    AudioEngine &engine_;            // read for the audio status
    AudioEngineControl *control_;    // read for the audio status; may be null
    FeedbackService service_;        // the request; aborted when the sheet goes
    ScreenshotCapture capture_;      // the screenshot; dropped when the sheet goes

    bool screenshotMitschicken_ = false;    // attach a screenshot
    std::optional<QByteArray> screenshotData_; // PNG bytes of the last screenshot taken
    bool takingScreenshot_ = false;         // "Screenshot wird erzeugt …"
    bool screenshotFailed_ = false;         // the last attempt gave nothing
    int screenshotRequest_ = 0;             // counts requests; only the newest one counts
    bool sending_ = false;                  // a request is under way
    std::optional<QString> status_;         // the outcome line, once there is one
    bool statusOK_ = false;                 // the outcome was a created record
    QString appVersion_;                    // "x.y.z"
    QString osVersion_;                     // distribution, kernel, architecture
    QString userName_;                      // login name

    QPlainTextEdit *messageEdit_;           // the message (children of this)
    QCheckBox *screenshotToggle_;
    QLabel *screenshotNote_;                // progress or failure of the screenshot
    QLabel *screenshotPreview_;             // what will be attached
    QLabel *statusIcon_;                    // exclamation mark on failure
    QLabel *statusLabel_;
    QPushButton *sendButton_;
    QPushButton *closeButton_;
};
