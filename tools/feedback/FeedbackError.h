#pragma once

#include <QString>

// Why a feedback submission created no record. description() is the German text the
// feedback sheet shows after "Senden fehlgeschlagen: ".
class FeedbackError {
public:
    enum class Kind {
        invalidURL,      // no endpoint configured, or not an http/https URL; nothing was sent
        invalidResponse, // a 2xx answer that is not a JSON object with a string "id"
        httpError,       // the server answered with a status outside 200..299
        transport,       // no answer: connection refused, host unknown, time-out, TLS ...
    };

    static FeedbackError invalidURL() { return FeedbackError(Kind::invalidURL); }
    static FeedbackError invalidResponse() { return FeedbackError(Kind::invalidResponse); }
    // `body` is the answer decoded as UTF-8; only its start is shown.
    static FeedbackError httpError(int statusCode, QString body);
    // `description` is already readable ("Zeitüberschreitung ...", "Verbindung abgelehnt ...").
    static FeedbackError transport(QString description);

    Kind kind() const { return kind_; }
    int statusCode() const { return statusCode_; } // httpError only, else 0
    const QString &body() const { return text_; }  // httpError: the whole answer body
    QString description() const;

    // Characters shown of an error answer's body: user-perceived characters, so an
    // accented letter or an emoji is never cut in half.
    static constexpr int shownBodyCharacters = 200;

private:
    explicit FeedbackError(Kind kind) : kind_(kind) {}

    Kind kind_;
    int statusCode_ = 0; // HTTP status of an httpError
    QString text_;       // httpError: the body; transport: the description
};

// The first `count` user-perceived characters (grapheme clusters) of `text`.
QString leadingCharacters(const QString &text, int count);
