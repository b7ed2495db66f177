// The feedback client against a real HTTP server on 127.0.0.1: what arrives there is
// read back by the server's own JSON and multipart parsers, not by our code.
#include "tools/feedback/FeedbackService.h"

#include "settings/AppSettings.h"
#include "tests/support/LocalHttpServer.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

namespace {

const std::string recordPath = FeedbackService::recordPath;

// What the server saw of the last request (written on its thread).
struct Received {
    std::mutex mutex;
    std::string contentType;
    std::string body;
    std::map<std::string, httplib::MultipartFormData> parts;
    bool multipart = false;
    std::atomic<int> count{0};

    void take(const httplib::Request &request)
    {
        std::lock_guard lock(mutex);
        contentType = request.get_header_value("Content-Type");
        body = request.body;
        multipart = request.is_multipart_form_data();
        parts.clear();
        for (const auto &[name, part] : request.files) parts[name] = part;
        ++count;
    }
};

void startServing(LocalHttpServer &http)
{
    http.start();
    ASSERT_TRUE(http.server().is_running());
}

// Runs the event loop until send() reports; fails the test after a generous guard.
FeedbackResult sendAndWait(FeedbackService &service, const FeedbackService::Payload &payload)
{
    std::optional<FeedbackResult> result;
    QEventLoop loop;
    service.send(payload, [&](const FeedbackResult &r) {
        result = r;
        loop.quit();
    });
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    if (!result) loop.exec();
    if (!result) {
        ADD_FAILURE() << "send() never reported";
        return {{}, FeedbackError::invalidURL()};
    }
    return *result;
}

FeedbackService::Payload samplePayload()
{
    FeedbackService::Payload payload;
    // Umlauts, a dash and emoji (one outside the BMP, one with a variation selector).
    payload.text = QString::fromUtf8("Grüße aus Köln – der Regler 🎚️ hängt 😀");
    payload.userName = QStringLiteral("jörg");
    payload.appVersion = QStringLiteral("1.2.3");
    payload.osVersion = QStringLiteral("Debian GNU/Linux 12 (bookworm), Linux 6.1.0 (x86_64)");
    payload.appModule = QStringLiteral("KelvraMeters Linux");
    payload.diagnose = QString::fromUtf8("=== KelvraMeters Diagnose ===\n\nMeter-Konfiguration:\n  Scale: DIN");
    return payload;
}

std::string utf8(const QString &text) { return text.toStdString(); }

// Bytes a lax multipart writer would get wrong: NUL, CR LF, and a line that looks
// like a delimiter.
QByteArray awkwardPng()
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    png.append('\0');
    png.append("\r\n------KMFeedback-not-the-boundary\r\n\r\n");
    for (int i = 0; i < 70000; ++i) png.append(static_cast<char>((i * 7919) & 0xff));
    return png;
}

class FeedbackServiceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(http.isBound());
        http.server().Post(recordPath, [this](const httplib::Request &request, httplib::Response &response) {
            received.take(request);
            std::lock_guard lock(answerMutex);
            response.status = answerStatus;
            response.set_content(answerBody, "application/json");
        });
        startServing(http);
    }

    void answer(int status, std::string body)
    {
        std::lock_guard lock(answerMutex);
        answerStatus = status;
        answerBody = std::move(body);
    }

    // The server goes before what its handler touches, the service before the server.
    Received received;
    std::mutex answerMutex;
    int answerStatus = 201;
    std::string answerBody = R"({"id":"abc","collectionName":"feedback"})";
    LocalHttpServer http;
    FeedbackService service{QString::fromStdString(http.url(""))};
};

TEST_F(FeedbackServiceTest, WithoutAScreenshotTheSixFieldsGoAsUtf8Json)
{
    const FeedbackResult result = sendAndWait(service, samplePayload());

    ASSERT_TRUE(result.ok()) << result.error->description().toStdString();
    EXPECT_EQ(result.recordId, QStringLiteral("abc"));
    std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.contentType, "application/json");
    EXPECT_FALSE(received.multipart);
    const QJsonDocument sent = QJsonDocument::fromJson(QByteArray::fromStdString(received.body));
    const FeedbackService::Payload payload = samplePayload();
    const QJsonObject expected{{"text", payload.text},           {"user_name", payload.userName},
                               {"app_version", payload.appVersion}, {"os_version", payload.osVersion},
                               {"app_module", payload.appModule}, {"diagnose", payload.diagnose}};
    EXPECT_EQ(sent.object(), expected) << received.body;
    // Raw UTF-8 on the wire, not escaped or re-encoded.
    EXPECT_NE(received.body.find(utf8(payload.text)), std::string::npos);
}

TEST_F(FeedbackServiceTest, WithAScreenshotEveryPartArrivesIntact)
{
    FeedbackService::Payload payload = samplePayload();
    payload.screenshotPNG = awkwardPng();

    const FeedbackResult result = sendAndWait(service, payload);

    ASSERT_TRUE(result.ok()) << result.error->description().toStdString();
    EXPECT_EQ(result.recordId, QStringLiteral("abc"));
    std::lock_guard lock(received.mutex);
    EXPECT_TRUE(received.multipart);
    const QRegularExpression contentType(QStringLiteral(
        "^multipart/form-data; boundary=----KMFeedback-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));
    EXPECT_TRUE(contentType.match(QString::fromStdString(received.contentType)).hasMatch()) << received.contentType;

    const std::vector<std::pair<std::string, QString>> fields = {
        {"text", payload.text},           {"user_name", payload.userName}, {"app_version", payload.appVersion},
        {"os_version", payload.osVersion}, {"app_module", payload.appModule}, {"diagnose", payload.diagnose}};
    for (const auto &[name, value] : fields) {
        ASSERT_TRUE(received.parts.count(name)) << name;
        EXPECT_EQ(received.parts[name].content, utf8(value)) << name;
        EXPECT_TRUE(received.parts[name].filename.empty()) << name;
    }
    ASSERT_TRUE(received.parts.count("screenshot"));
    const httplib::MultipartFormData &screenshot = received.parts["screenshot"];
    EXPECT_EQ(screenshot.filename, "feedback.png");
    EXPECT_EQ(screenshot.content_type, "image/png");
    EXPECT_TRUE(screenshot.content == payload.screenshotPNG->toStdString()) << "the PNG bytes changed on the way";
    EXPECT_EQ(received.parts.size(), 7u);
}

TEST_F(FeedbackServiceTest, AnErrorStatusShowsTheFirst200CharactersOfTheBody)
{
    // 500 characters, half of them outside the BMP: counting bytes or UTF-16 units
    // would cut elsewhere, or in the middle of a character.
    const QString pair = QString::fromUtf8("ä😀");
    answer(400, utf8(pair.repeated(250)));

    const FeedbackResult result = sendAndWait(service, samplePayload());

    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error->kind(), FeedbackError::Kind::httpError);
    EXPECT_EQ(result.error->statusCode(), 400);
    EXPECT_EQ(result.error->description(), QStringLiteral("HTTP 400: ") + pair.repeated(100));

    answer(503, "busy");
    EXPECT_EQ(sendAndWait(service, samplePayload()).error->description(), QStringLiteral("HTTP 503: busy"));
}

TEST_F(FeedbackServiceTest, ASuccessWithoutAStringIdIsAnInvalidResponse)
{
    for (const std::string body : {R"({"collectionName":"feedback"})", R"({"id":42})", R"(["abc"])", "ok", ""}) {
        answer(200, body);
        const FeedbackResult result = sendAndWait(service, samplePayload());
        ASSERT_FALSE(result.ok()) << body;
        EXPECT_EQ(result.error->kind(), FeedbackError::Kind::invalidResponse) << body;
        EXPECT_EQ(result.error->description(), QStringLiteral("Ungültige Antwort vom Feedback-Server")) << body;
    }
}

TEST_F(FeedbackServiceTest, WithoutAUsableEndpointNothingIsSent)
{
    for (const QString &endpoint : {QString(), QStringLiteral("   "), QStringLiteral("ftp://127.0.0.1/"),
                                   QStringLiteral("127.0.0.1:8090"), QStringLiteral("http://"),
                                   QStringLiteral("http://exa mple.org")}) {
        service.setEndpoint(endpoint);
        bool reported = false;
        std::optional<FeedbackResult> result;
        service.send(samplePayload(), [&](const FeedbackResult &r) {
            reported = true;
            result = r;
        });
        EXPECT_FALSE(reported) << "reported inside send(): " << endpoint.toStdString();
        QCoreApplication::processEvents();
        ASSERT_TRUE(result) << endpoint.toStdString();
        ASSERT_FALSE(result->ok());
        EXPECT_EQ(result->error->description(), QStringLiteral("Ungültige Feedback-URL")) << endpoint.toStdString();
    }
    EXPECT_EQ(received.count, 0);
}

TEST(FeedbackTransportTest, NobodyListeningIsAReadableConnectionError)
{
    // A port that was free a moment ago and is closed again refuses connections.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const quint16 port = probe.serverPort();
    probe.close();
    FeedbackService service(QStringLiteral("http://127.0.0.1:%1").arg(port));

    const FeedbackResult result = sendAndWait(service, samplePayload());

    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error->kind(), FeedbackError::Kind::transport);
    EXPECT_TRUE(result.error->description().startsWith(QStringLiteral("Verbindung abgelehnt")))
        << result.error->description().toStdString();
}

TEST(FeedbackTransportTest, AServerThatNeverAnswersTimesOut)
{
    LocalHttpServer silent;
    silent.server().Post(recordPath, [&silent](const httplib::Request &, httplib::Response &) {
        silent.holdUntilShutdown();
    });
    startServing(silent);
    FeedbackService service(QString::fromStdString(silent.url("")));
    service.setTimeout(std::chrono::milliseconds(300));

    const FeedbackResult result = sendAndWait(service, samplePayload());

    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error->kind(), FeedbackError::Kind::transport);
    EXPECT_TRUE(result.error->description().startsWith(QStringLiteral("Zeitüberschreitung")))
        << result.error->description().toStdString();
}

TEST(FeedbackEndpointTest, TheRecordPathIsAppendedOnce)
{
    const auto resolved = [](const char *endpoint) {
        return FeedbackService::recordUrl(QString::fromUtf8(endpoint)).toString().toStdString();
    };
    EXPECT_EQ(resolved("http://127.0.0.1:8090"), "http://127.0.0.1:8090/api/collections/feedback/records");
    EXPECT_EQ(resolved("https://feedback.example.org/"), "https://feedback.example.org/api/collections/feedback/records");
    EXPECT_EQ(resolved("https://example.org/pb/"), "https://example.org/pb/api/collections/feedback/records");
    EXPECT_EQ(resolved("https://example.org/api/collections/feedback/records"),
              "https://example.org/api/collections/feedback/records");
    EXPECT_EQ(resolved("mailto:trell@example.org"), "");
}

TEST(FeedbackEndpointTest, TheEnvironmentOverridesTheBuiltInEndpoint)
{
    const QByteArray saved = qgetenv("KELVRA_FEEDBACK_URL");
    const bool wasSet = qEnvironmentVariableIsSet("KELVRA_FEEDBACK_URL");
    qputenv("KELVRA_FEEDBACK_URL", "http://127.0.0.1:9/");
    EXPECT_EQ(FeedbackService::configuredEndpoint(), QStringLiteral("http://127.0.0.1:9/"));
    EXPECT_EQ(FeedbackService().endpoint(), QStringLiteral("http://127.0.0.1:9/"));
    if (wasSet)
        qputenv("KELVRA_FEEDBACK_URL", saved);
    else
        qunsetenv("KELVRA_FEEDBACK_URL");
}

TEST(FeedbackBodyTest, TheMultipartFramingIsExact)
{
    FeedbackService::Payload payload;
    payload.text = QString::fromUtf8("Hallo ä");
    payload.userName = QStringLiteral("u");
    payload.appVersion = QStringLiteral("1.0.0");
    payload.osVersion = QStringLiteral("os");
    payload.appModule = QStringLiteral("m");
    payload.diagnose = QStringLiteral("a\nb");
    const QByteArray body = FeedbackService::buildMultipart(payload, QByteArray("PNG\0!", 5), QStringLiteral("B"));

    const auto part = [](const char *name, const char *value) {
        return QByteArray("--B\r\nContent-Disposition: form-data; name=\"") + name + "\"\r\n\r\n" + value + "\r\n";
    };
    const QByteArray expected = part("text", "Hallo \xc3\xa4") + part("user_name", "u") + part("app_version", "1.0.0") +
                                part("os_version", "os") + part("app_module", "m") + part("diagnose", "a\nb") +
                                "--B\r\nContent-Disposition: form-data; name=\"screenshot\"; filename=\"feedback.png\"\r\n"
                                "Content-Type: image/png\r\n\r\n" +
                                QByteArray("PNG\0!", 5) + "\r\n--B--\r\n";
    EXPECT_EQ(body, expected);

    const QString boundary = FeedbackService::makeBoundary();
    EXPECT_TRUE(boundary.startsWith(QStringLiteral("----KMFeedback-")));
    const QString uuid = boundary.mid(15);
    EXPECT_EQ(uuid.size(), 36);
    EXPECT_EQ(uuid, uuid.toUpper());
    EXPECT_NE(boundary, FeedbackService::makeBoundary());
}

// Settings on a memory store with chosen values, and a fixed date in a fixed locale.
class FeedbackDiagnoseTest : public ::testing::Test {
protected:
    std::shared_ptr<MemoryDefaultsStore> store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings{store};
    const QDateTime when{QDate(2024, 3, 5), QTime(14, 7)};
    const QLocale german{QLocale::German, QLocale::Germany};
};

TEST_F(FeedbackDiagnoseTest, ListsTheMeterConfigurationLineByLine)
{
    // Stored values no picker offers fall back to the defaults the meters use.
    settings.setSelectedMeterScaleRaw(QStringLiteral("Sehr laut"));
    settings.setMeterBallisticsModeString(QStringLiteral("Zeiger"));
    settings.setMeterSize(0.8);
    settings.setShowSpectralMeter(false);
    settings.setShowLissajousMeter(true);
    settings.setShowLUFSMeter(true);
    settings.setShowBroadcastPreset(true);
    settings.setSelectedBroadcastPresetName(QStringLiteral("EBU R128"));
    settings.setProcessTapMixdownAuto(false);
    settings.setProcessTapMixdownGain(2.0);
    settings.setProcessTapDeterministic(true);
    settings.setUseCustomRange(true);
    settings.setMeterRangeMin(-60.7);
    settings.setMeterRangeMax(6.9);

    EXPECT_EQ(FeedbackService::sammeleDiagnose(settings, when, german).toStdString(),
              "=== KelvraMeters Diagnose ===\n"
              "Datum: 5. März 2024, 14:07\n"
              "\n"
              "Meter-Konfiguration:\n"
              "  Scale: Final Cut Pro\n"
              "  Ballistics: Digital Peak\n"
              "  Meter size: 0.8\n"
              "  Spectrum: off · Lissajous: on · LUFS: on\n"
              "  Broadcast preset: EBU R128\n"
              "  ProcessTap mixdown: manual (×2.0)\n"
              "  ProcessTap deterministic: on (experimental)\n"
              "  Custom range: -60…6 dB");
}

TEST_F(FeedbackDiagnoseTest, OptionalLinesFollowTheirSwitches)
{
    settings.setSelectedMeterScaleRaw(QStringLiteral("K-14"));
    settings.setMeterBallisticsModeString(QStringLiteral("PPM (DIN)"));
    settings.setShowLUFSMeter(true);
    settings.setShowBroadcastPreset(false);
    settings.setUseCustomRange(true);
    settings.setMeterRangeMin(-20.9);
    settings.setMeterRangeMax(-0.4); // cut toward zero: 0, never "-0"
    QString text = FeedbackService::sammeleDiagnose(settings, when, QLocale::c());
    EXPECT_TRUE(text.contains(QStringLiteral("\nDatum: 5 Mar 2024, 14:07\n"))) << "hours and minutes only";
    EXPECT_TRUE(text.contains(QStringLiteral("\n  Scale: K-14\n  Ballistics: PPM (DIN)\n")));
    EXPECT_TRUE(text.contains(QStringLiteral("\n  Broadcast preset: off\n")));
    EXPECT_TRUE(text.endsWith(QStringLiteral("\n  Custom range: -20…0 dB")));

    settings.setShowLUFSMeter(false);
    settings.setUseCustomRange(false);
    text = FeedbackService::sammeleDiagnose(settings, when, german);
    EXPECT_FALSE(text.contains(QStringLiteral("Broadcast preset")));
    EXPECT_TRUE(text.contains(QStringLiteral("\n  ProcessTap mixdown: auto (×3.0)\n")));
    EXPECT_TRUE(text.endsWith(QStringLiteral("\n  Custom range: off (scale default)")));
}

} // namespace

// Qt's network stack needs an application object and its event loop.
int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
