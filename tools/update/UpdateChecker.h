#pragma once

#include "tools/update/Appcast.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <chrono>

class QNetworkAccessManager;
class QNetworkReply;

// The answer of one update check.
struct UpdateCheckResult {
    enum class Outcome { upToDate, updateAvailable, failed };
    enum class Failure {
        none,
        network, // no answer: no connection, name not found, TLS refused, ...
        timeout, // nothing arrived for the transfer time-out
        http,    // the server answered with an error status
        feed,    // the answer is no readable appcast
    };

    Outcome outcome = Outcome::failed;
    Failure failure = Failure::none;
    QString installedVersion; // the version the feed was compared with
    AppcastItem newest;       // the feed's newest release (when the feed could be read)
    int httpStatus = 0;       // the server's status code; 0 when it never answered
    QString error;            // why the check failed, in German, for the update dialog
};

// Fetches an appcast and compares its newest release with the installed version.
// Every check() that returns true is answered by exactly one finished(), emitted on the
// thread the checker lives on (the network replies arrive there).
class UpdateChecker final : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds defaultTransferTimeout{30000};
    // An appcast is a few kilobytes; anything far larger is not one.
    static constexpr qint64 maximumFeedBytes = 4 * 1024 * 1024;

    // Uses `network` when given (it must outlive the checker), else a manager of its own.
    explicit UpdateChecker(QNetworkAccessManager *network = nullptr, QObject *parent = nullptr);
    ~UpdateChecker() override;

    // How long the transfer may stall before the check fails (tests shorten it).
    void setTransferTimeout(std::chrono::milliseconds timeout) { transferTimeout_ = timeout; }
    std::chrono::milliseconds transferTimeout() const { return transferTimeout_; }

    // Starts a check; false (and no finished()) while another one runs.
    bool check(const QUrl &feedUrl, const QString &installedVersion);
    bool isChecking() const { return checking_; }

signals:
    void finished(const UpdateCheckResult &result);

private:
    void replyFinished();
    void finish(UpdateCheckResult result);

    QNetworkAccessManager *network_;                        // injected or owned (child)
    QPointer<QNetworkReply> reply_;                         // the running request, if any
    QUrl feedUrl_;                                          // of the running check
    QString installedVersion_;                              // of the running check
    std::chrono::milliseconds transferTimeout_ = defaultTransferTimeout;
    bool checking_ = false;                                 // a check waits for its answer
    bool tooLarge_ = false;                                 // the running reply was cut off for its size
};
