#include "tools/update/UpdateChecker.h"

#include "tools/update/VersionCompare.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

UpdateChecker::UpdateChecker(QNetworkAccessManager *network, QObject *parent)
    : QObject(parent), network_(network ? network : new QNetworkAccessManager(this))
{
}

UpdateChecker::~UpdateChecker()
{
    // An injected manager outlives us: its reply must not call back into a dead checker.
    if (reply_) {
        disconnect(reply_, nullptr, this, nullptr);
        reply_->abort();
        delete reply_;
    }
}

bool UpdateChecker::check(const QUrl &feedUrl, const QString &installedVersion)
{
    if (checking_) return false;
    checking_ = true;
    tooLarge_ = false;
    feedUrl_ = feedUrl;
    installedVersion_ = installedVersion;

    if (!feedUrl.isValid() || feedUrl.isRelative()) {
        // Answered from the event loop like every other check, never from inside check().
        QMetaObject::invokeMethod(
            this,
            [this] {
                UpdateCheckResult result;
                result.installedVersion = installedVersion_;
                result.failure = UpdateCheckResult::Failure::network;
                result.error = QStringLiteral("Die Adresse des Update-Feeds ist ungültig (%1).").arg(feedUrl_.toString());
                finish(std::move(result));
            },
            Qt::QueuedConnection);
        return true;
    }

    QNetworkRequest request(feedUrl);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(static_cast<int>(transferTimeout_.count()));
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("KelvraMeters/%1").arg(installedVersion));
    request.setRawHeader("Accept", "application/rss+xml, application/xml;q=0.9, text/xml;q=0.9, */*;q=0.1");
    reply_ = network_->get(request);
    connect(reply_, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) {
        if (received <= maximumFeedBytes || !reply_ || tooLarge_) return;
        tooLarge_ = true;
        reply_->abort();
    });
    connect(reply_, &QNetworkReply::finished, this, &UpdateChecker::replyFinished);
    return true;
}

void UpdateChecker::replyFinished()
{
    QNetworkReply *reply = reply_;
    reply_ = nullptr;
    if (!reply) return;
    reply->deleteLater();

    UpdateCheckResult result;
    result.installedVersion = installedVersion_;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    result.httpStatus = status.isValid() ? status.toInt() : 0;

    if (tooLarge_) {
        result.failure = UpdateCheckResult::Failure::feed;
        result.error = QStringLiteral("Die Antwort des Servers ist zu groß für einen Update-Feed.");
    } else if (result.httpStatus >= 300) {
        // Error statuses, and redirects the request refused to follow (to a less safe scheme).
        const QString reason = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString().trimmed();
        result.failure = UpdateCheckResult::Failure::http;
        result.error = reason.isEmpty()
                           ? QStringLiteral("Der Server antwortete mit HTTP %1.").arg(result.httpStatus)
                           : QStringLiteral("Der Server antwortete mit HTTP %1 (%2).").arg(result.httpStatus).arg(reason);
    } else if (reply->error() == QNetworkReply::OperationCanceledError || reply->error() == QNetworkReply::TimeoutError) {
        // The transfer time-out is the only thing that cancels a request here.
        result.failure = UpdateCheckResult::Failure::timeout;
        result.error = QStringLiteral("Der Server hat nicht innerhalb von %1 s geantwortet.")
                           .arg(QString::number(static_cast<double>(transferTimeout_.count()) / 1000.0, 'g', 3));
    } else if (reply->error() != QNetworkReply::NoError) {
        result.failure = UpdateCheckResult::Failure::network;
        result.error = QStringLiteral("Keine Verbindung zum Server (%1).").arg(reply->errorString());
    } else {
        // Relative links in the feed count from where it was finally found.
        AppcastReadResult appcast = readAppcast(reply->readAll(), reply->url());
        if (!appcast.newest) {
            result.failure = UpdateCheckResult::Failure::feed;
            result.error = appcast.error;
        } else {
            result.newest = std::move(*appcast.newest);
            result.outcome = compareVersions(result.newest.version, installedVersion_) > 0
                                 ? UpdateCheckResult::Outcome::updateAvailable
                                 : UpdateCheckResult::Outcome::upToDate;
        }
    }
    finish(std::move(result));
}

void UpdateChecker::finish(UpdateCheckResult result)
{
    checking_ = false;
    emit finished(result);
}
