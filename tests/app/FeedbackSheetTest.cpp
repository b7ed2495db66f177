// The feedback sheet as a user drives it, sending to a real HTTP server on 127.0.0.1.
#include "app/services/FeedbackSheet.h"
#include "app/shell/KelvraApplication.h"
#include "capture/AudioEngineControl.h"
#include "tests/app/WidgetTestSupport.h"
#include "tests/capture/FakeAudioPlatform.h"
#include "tests/support/LocalHttpServer.h"

#include <QAction>
#include <QCheckBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace {

// The visible label showing exactly `text`, if any.
const QLabel *shownLabel(const QWidget &window, const QString &text)
{
    for (const QLabel *label : window.findChildren<QLabel *>())
        if (label->isVisible() && label->text() == text) return label;
    return nullptr;
}

bool showsAnIcon(const QWidget &window)
{
    for (const QLabel *label : window.findChildren<QLabel *>())
        if (label->isVisible() && !label->pixmap().isNull() && label->text().isEmpty()) return true;
    return false;
}

class FeedbackSheetTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(http.isBound());
        http.server().Post(FeedbackService::recordPath, [this](const httplib::Request &request,
                                                               httplib::Response &response) {
            std::lock_guard lock(mutex);
            lastRequest = request;
            ++requests;
            response.status = answerStatus;
            response.set_content(answerBody, "application/json");
        });
        http.start();
        ASSERT_TRUE(http.server().is_running());
        sheet.service().setEndpoint(QString::fromStdString(http.url("")));
        sheet.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&sheet));
    }

    // Enters `text` and presses "Senden"; returns once the status line shows the outcome.
    void typeAndSend(const QString &text)
    {
        sheet.messageEdit()->insertPlainText(text); // QTest cannot type emoji
        ASSERT_TRUE(sheet.sendButton()->isEnabled());
        QTest::mouseClick(sheet.sendButton(), Qt::LeftButton);
        EXPECT_TRUE(sheet.isSending());
        EXPECT_FALSE(sheet.sendButton()->isEnabled()) << "a second press while sending";
        ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.status().has_value(); }, 20000));
        EXPECT_FALSE(sheet.isSending());
    }

    TestSettings env;
    AudioEngine engine{env.settings, AudioEngine::TickSource::external};
    std::mutex mutex; // guards what the server's thread reads and writes below
    httplib::Request lastRequest;
    int answerStatus = 201;
    std::string answerBody = R"({"id":"rec42"})";
    std::atomic<int> requests{0};
    LocalHttpServer http; // after what its handler touches, so it stops first
    FeedbackSheet sheet{env.settings, engine, nullptr};
};

TEST_F(FeedbackSheetTest, SendsOnlyWhenSendIsPressedAndShowsTheRecordId)
{
    QTest::keyClicks(sheet.messageEdit(), QStringLiteral("Der Regler klemmt"));
    QTest::qWait(200);
    EXPECT_EQ(requests, 0) << "typing must not send anything";
    sheet.messageEdit()->clear();

    typeAndSend(QString::fromUtf8("Der Regler hängt 🎚️"));

    const QString thanks = QStringLiteral("Danke! Feedback ist drin (ID: rec42)");
    EXPECT_EQ(sheet.status(), thanks);
    EXPECT_TRUE(sheet.statusOK());
    EXPECT_NE(shownLabel(sheet, thanks), nullptr);
    EXPECT_FALSE(showsAnIcon(sheet)) << "the warning sign is for failures";
    EXPECT_FALSE(sheet.sendButton()->isEnabled()) << "the report went out; the field is empty again";
    ASSERT_EQ(requests, 1);

    std::lock_guard lock(mutex);
    const QJsonObject sent = QJsonDocument::fromJson(QByteArray::fromStdString(lastRequest.body)).object();
    EXPECT_EQ(sent.value("text").toString(), QString::fromUtf8("Der Regler hängt 🎚️"));
    EXPECT_EQ(sent.value("app_module").toString(), QStringLiteral("KelvraMeters Linux"));
    EXPECT_EQ(sent.value("user_name").toString(), FeedbackSheet::loginName());
    EXPECT_EQ(sent.value("app_version").toString(), FeedbackService::appVersion());
    const QString diagnose = sent.value("diagnose").toString();
    EXPECT_TRUE(diagnose.startsWith(QStringLiteral("=== KelvraMeters Diagnose ===\n"))) << diagnose.toStdString();
    EXPECT_TRUE(diagnose.contains(QStringLiteral("\n\nAudio-Status:\n  Input device: "))) << diagnose.toStdString();
}

TEST_F(FeedbackSheetTest, AFailureShowsTheReasonWithAWarningSign)
{
    {
        // The server's thread reads the answer under the lock; the request that makes it
        // read goes over a socket, which orders nothing for a race detector.
        std::lock_guard lock(mutex);
        answerStatus = 500;
        answerBody = "kaputt";
    }

    typeAndSend(QStringLiteral("Hallo"));

    const QString failed = QStringLiteral("Senden fehlgeschlagen: HTTP 500: kaputt");
    EXPECT_EQ(sheet.status(), failed);
    EXPECT_FALSE(sheet.statusOK());
    EXPECT_NE(shownLabel(sheet, failed), nullptr);
    EXPECT_TRUE(showsAnIcon(sheet));
    EXPECT_EQ(sheet.text(), QStringLiteral("Hallo")) << "kept for another try";
    EXPECT_TRUE(sheet.sendButton()->isEnabled());
}

TEST_F(FeedbackSheetTest, AChosenScreenshotIsTakenAndSentAsTheMultipartPng)
{
    QWidget meter; // something of ours on screen besides the sheet
    meter.resize(240, 120);
    meter.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&meter));

    sheet.screenshotToggle()->click();
    EXPECT_TRUE(sheet.isTakingScreenshot());
    EXPECT_NE(shownLabel(sheet, QStringLiteral("Screenshot wird erzeugt …")), nullptr);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !sheet.isTakingScreenshot(); }, 20000));
    ASSERT_TRUE(sheet.screenshotData().has_value());
    const QImage picture = QImage::fromData(*sheet.screenshotData(), "PNG");
    EXPECT_GE(picture.width(), 240);
    EXPECT_GE(picture.height(), 120);
    const QByteArray shot = *sheet.screenshotData();

    typeAndSend(QStringLiteral("mit Bild"));

    EXPECT_TRUE(sheet.statusOK());
    EXPECT_FALSE(sheet.screenshotToggle()->isChecked()) << "sent once, not attached to the next report";
    EXPECT_FALSE(sheet.sendButton()->isEnabled());
    std::lock_guard lock(mutex);
    ASSERT_TRUE(lastRequest.has_file("screenshot"));
    const httplib::MultipartFormData png = lastRequest.get_file_value("screenshot");
    EXPECT_EQ(png.filename, "feedback.png");
    EXPECT_TRUE(png.content == shot.toStdString());
    EXPECT_EQ(lastRequest.get_file_value("text").content, "mit Bild");
}

TEST(FeedbackAudioStatusTest, NamesTheSourceTheModeAndTheEngineState)
{
    TestSettings env;
    AudioEngine engine(env.settings, AudioEngine::TickSource::external);
    FakeAudioPlatform platform;
    platform.devices = {{7, QStringLiteral("USB Interface")}};
    AudioEngineControl control(engine, platform, *env.store);
    control.checkPermissionAndStart();
    control.updateAvailableDevices();
    control.setSelectedInputDevice(QStringLiteral("USB Interface"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return control.isRunning(); }, 2000));

    EXPECT_EQ(FeedbackSheet::audioDiagnose(engine, &control).toStdString(),
              "Audio-Status:\n"
              "  Input device: USB Interface\n"
              "  Capture mode: device\n"
              "  Running: yes\n"
              "  Sample rate: 44100 Hz, 2 ch\n"
              "  Status: ok");

    control.stopEngine();
    engine.setErrorMessage(QStringLiteral("Could not start capture stream: busy"));
    const QString stopped = FeedbackSheet::audioDiagnose(engine, &control);
    EXPECT_TRUE(stopped.contains(QStringLiteral("\n  Capture mode: none\n  Running: no\n")));
    EXPECT_TRUE(stopped.endsWith(QStringLiteral("\n  Status: Could not start capture stream: busy")));
}

TEST(FeedbackMenuTest, TheMenuItemOpensOneSheet)
{
    TestSettings env;
    KelvraApplication::Options options;
    options.tickSource = AudioEngine::TickSource::external;
    options.trayIcon = false;
    options.updater.feedUrl = QUrl();
    KelvraApplication shell(env.settings, std::move(options));
    EXPECT_EQ(shell.feedbackSheet(), nullptr);

    shell.actions().action(MenuCommand::sendFeedback)->trigger();
    FeedbackSheet *sheet = shell.feedbackSheet();
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(sheet->windowTitle(), QStringLiteral("Feedback an Trell"));

    shell.actions().action(MenuCommand::sendFeedback)->trigger();
    EXPECT_EQ(shell.feedbackSheet(), sheet) << "raised, not opened twice";
}

} // namespace
