#include "tools/feedback/FeedbackError.h"

#include <QTextBoundaryFinder>

FeedbackError FeedbackError::httpError(int statusCode, QString body)
{
    FeedbackError error(Kind::httpError);
    error.statusCode_ = statusCode;
    error.text_ = std::move(body);
    return error;
}

FeedbackError FeedbackError::transport(QString description)
{
    FeedbackError error(Kind::transport);
    error.text_ = std::move(description);
    return error;
}

QString FeedbackError::description() const
{
    switch (kind_) {
    case Kind::invalidURL: return QStringLiteral("Ungültige Feedback-URL");
    case Kind::invalidResponse: return QStringLiteral("Ungültige Antwort vom Feedback-Server");
    case Kind::httpError:
        return QStringLiteral("HTTP %1: %2").arg(statusCode_).arg(leadingCharacters(text_, shownBodyCharacters));
    case Kind::transport: return text_;
    }
    return {};
}

QString leadingCharacters(const QString &text, int count)
{
    if (count <= 0) return {};
    // Every character takes at least one UTF-16 unit: a short text is whole.
    if (text.size() <= count) return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int taken = 0;
    while (taken < count) {
        if (finder.toNextBoundary() < 0) return text;
        ++taken;
    }
    return text.left(finder.position());
}
