#pragma once

#include "tools/feedback/FeedbackError.h"

#include <QByteArray>
#include <QDateTime>
#include <QLocale>
#include <QObject>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>

class AppSettings;
class QNetworkAccessManager;
class QNetworkReply;

// What one submission ended with: the id of the created record, or why there is none.
struct FeedbackResult {
    QString recordId;                   // set when error is empty
    std::optional<FeedbackError> error; // set when nothing was created

    bool ok() const { return !error; }
};

// Sends feedback reports to the feedback collection of a record-style web service
// (POST .../api/collections/feedback/records): JSON without a screenshot, multipart
// form data with one. Nothing is sent unless send() is called, and send() is only
// called when the user presses "Senden". Main thread; the request itself runs
// asynchronously in Qt's network stack.
class FeedbackService : public QObject {
    Q_OBJECT

public:
    // The content of one submission; the comments name the wire fields.
    struct Payload {
        QString text;       // "text": the user's message
        QString userName;   // "user_name": the login name
        QString appVersion; // "app_version"
        QString osVersion;  // "os_version"
        QString appModule;  // "app_module": which program and platform sent it
        QString diagnose;   // "diagnose": configuration and audio status
        std::optional<QByteArray> screenshotPNG; // part "screenshot", file "feedback.png"
    };

    using Completion = std::function<void(const FeedbackResult &result)>;

    static constexpr const char *recordPath = "/api/collections/feedback/records";
    static constexpr std::chrono::milliseconds defaultTimeout{60000};

    // `endpoint` is the service's scheme and host (optionally with a port and a base
    // path), or already the full record URL; empty means not configured.
    explicit FeedbackService(QString endpoint = configuredEndpoint(), QObject *parent = nullptr);
    ~FeedbackService() override;

    // The endpoint this build was configured with (CMake KELVRA_FEEDBACK_URL),
    // overridden by the environment variable KELVRA_FEEDBACK_URL when that is set.
    static QString configuredEndpoint();
    // The record URL for `endpoint`: the record path is appended unless the path
    // already ends with it. Empty (invalid) when `endpoint` is no http/https URL.
    static QUrl recordUrl(const QString &endpoint);

    QString endpoint() const { return endpoint_; }
    void setEndpoint(const QString &endpoint) { endpoint_ = endpoint; }
    // A request that transfers nothing for this long fails (60 s; tests shorten it).
    void setTimeout(std::chrono::milliseconds timeout) { timeout_ = timeout; }

    // Posts `payload`. `done` runs exactly once, later, on this object's thread, unless
    // this object is destroyed first (the request is then aborted).
    void send(const Payload &payload, Completion done);

    // The request bodies.
    static QByteArray buildJson(const Payload &payload);
    static QByteArray buildMultipart(const Payload &payload, const QByteArray &screenshot, const QString &boundary);
    // "----KMFeedback-" and a fresh UUID in upper case.
    static QString makeBoundary();

    // The configuration part of the diagnostics text, one line per item, at `now`.
    static QString sammeleDiagnose(const AppSettings &settings, const QDateTime &now = QDateTime::currentDateTime(),
                                   const QLocale &locale = QLocale());
    // "x.y.z" of this build.
    static QString appVersion();
    // Distribution, kernel and architecture, e.g. "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 (x86_64)".
    static QString osVersion();

private:
    static FeedbackResult resultOf(QNetworkReply *reply);

    QString endpoint_;                            // as configured; resolved at each send
    std::chrono::milliseconds timeout_ = defaultTimeout; // longest stall of a request
    QNetworkAccessManager *network_ = nullptr;    // child of this
};
