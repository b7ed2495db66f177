// The two request bodies of a feedback submission.
#include "tools/feedback/FeedbackService.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <array>
#include <utility>

namespace {

// The six text fields under their wire names, in the order they are sent.
std::array<std::pair<const char *, const QString *>, 6> textFields(const FeedbackService::Payload &payload)
{
    return {{{"text", &payload.text},
             {"user_name", &payload.userName},
             {"app_version", &payload.appVersion},
             {"os_version", &payload.osVersion},
             {"app_module", &payload.appModule},
             {"diagnose", &payload.diagnose}}};
}

} // namespace

QByteArray FeedbackService::buildJson(const Payload &payload)
{
    QJsonObject object;
    for (const auto &[name, value] : textFields(payload)) object.insert(QLatin1String(name), *value);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray FeedbackService::buildMultipart(const Payload &payload, const QByteArray &screenshot,
                                           const QString &boundary)
{
    const QByteArray delimiter = "--" + boundary.toUtf8() + "\r\n";
    QByteArray body;
    body.reserve(screenshot.size() + 4096);
    for (const auto &[name, value] : textFields(payload)) {
        body += delimiter;
        body += "Content-Disposition: form-data; name=\"";
        body += name;
        body += "\"\r\n\r\n";
        body += value->toUtf8();
        body += "\r\n";
    }
    body += delimiter;
    body += "Content-Disposition: form-data; name=\"screenshot\"; filename=\"feedback.png\"\r\n";
    body += "Content-Type: image/png\r\n\r\n";
    body += screenshot;
    body += "\r\n--" + boundary.toUtf8() + "--\r\n";
    return body;
}

QString FeedbackService::makeBoundary()
{
    return QStringLiteral("----KMFeedback-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}
