#include "tools/feedback/FeedbackService.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSysInfo>

#ifndef KELVRA_FEEDBACK_URL
#define KELVRA_FEEDBACK_URL ""
#endif

namespace {

// Readable German text for a request that got no HTTP answer at all.
QString transportDescription(const QNetworkReply &reply)
{
    const QString host = reply.url().host();
    switch (reply.error()) {
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        // The service never aborts a request itself: a cancel is the transfer time-out.
        return QStringLiteral("Zeitüberschreitung – keine Antwort von %1").arg(host);
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("Verbindung abgelehnt von %1").arg(host);
    case QNetworkReply::HostNotFoundError: return QStringLiteral("Server %1 nicht gefunden").arg(host);
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("Verbindung von %1 unterbrochen").arg(host);
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return QStringLiteral("Keine Netzwerkverbindung");
    default: return QStringLiteral("Netzwerkfehler: %1").arg(reply.errorString());
    }
}

} // namespace

FeedbackService::FeedbackService(QString endpoint, QObject *parent)
    : QObject(parent), endpoint_(std::move(endpoint)), network_(new QNetworkAccessManager(this))
{
}

FeedbackService::~FeedbackService()
{
    // Replies still running go with the manager; none may report into a half-destroyed service.
    for (QNetworkReply *reply : network_->findChildren<QNetworkReply *>()) {
        reply->disconnect(this);
        reply->abort();
    }
}

QString FeedbackService::configuredEndpoint()
{
    if (qEnvironmentVariableIsSet("KELVRA_FEEDBACK_URL")) return qEnvironmentVariable("KELVRA_FEEDBACK_URL").trimmed();
    return QStringLiteral(KELVRA_FEEDBACK_URL).trimmed();
}

QUrl FeedbackService::recordUrl(const QString &endpoint)
{
    QUrl url(endpoint.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")) ||
        url.host().isEmpty())
        return {};
    QString path = url.path();
    if (!path.endsWith(QLatin1String(recordPath))) {
        while (path.endsWith(QLatin1Char('/'))) path.chop(1);
        url.setPath(path + QLatin1String(recordPath));
    }
    return url;
}

void FeedbackService::send(const Payload &payload, Completion done)
{
    const QUrl url = recordUrl(endpoint_);
    if (!url.isValid()) {
        // Reported later like every other outcome, so callers see one order of events.
        QMetaObject::invokeMethod(
            this, [done = std::move(done)] { done({{}, FeedbackError::invalidURL()}); }, Qt::QueuedConnection);
        return;
    }

    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(timeout_.count()));
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("KelvraMeters/%1").arg(appVersion()));
    request.setRawHeader("Accept", "application/json");
    QByteArray body;
    if (payload.screenshotPNG) {
        const QString boundary = makeBoundary();
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QStringLiteral("multipart/form-data; boundary=%1").arg(boundary));
        body = buildMultipart(payload, *payload.screenshotPNG, boundary);
    } else {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        body = buildJson(payload);
    }

    QNetworkReply *reply = network_->post(request, body);
    connect(reply, &QNetworkReply::finished, this, [reply, done = std::move(done)] {
        reply->deleteLater();
        done(resultOf(reply));
    });
}

FeedbackResult FeedbackService::resultOf(QNetworkReply *reply)
{
    const QVariant statusAttribute = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!statusAttribute.isValid()) return {{}, FeedbackError::transport(transportDescription(*reply))};

    const int status = statusAttribute.toInt();
    const QByteArray body = reply->readAll();
    if (status < 200 || status > 299) return {{}, FeedbackError::httpError(status, QString::fromUtf8(body))};

    const QJsonDocument document = QJsonDocument::fromJson(body);
    const QJsonValue id = document.isObject() ? document.object().value(QLatin1String("id")) : QJsonValue();
    if (!id.isString()) return {{}, FeedbackError::invalidResponse()};
    return {id.toString(), std::nullopt};
}

QString FeedbackService::appVersion() { return QStringLiteral(KELVRA_VERSION); }

QString FeedbackService::osVersion()
{
    QString kernel = QSysInfo::kernelType();
    if (!kernel.isEmpty()) kernel[0] = kernel[0].toUpper();
    return QStringLiteral("%1, %2 %3 (%4)")
        .arg(QSysInfo::prettyProductName(), kernel, QSysInfo::kernelVersion(), QSysInfo::currentCpuArchitecture());
}
