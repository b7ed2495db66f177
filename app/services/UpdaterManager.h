#pragma once

#include "tools/update/UpdateChecker.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <memory>

class DefaultsStore;
class QNetworkAccessManager;
class UpdateDialog;

// The software-update check. startDelayed() checks a little after launch, so it never
// competes with the first frames of the meters; such automatic checks happen at most
// once a day, stay silent when all is well or the network fails, and only speak up
// (with the update dialog) when a newer version exists. "Auf Updates prüfen …"
// (checkForUpdates) checks at once and always answers in the dialog. Without a feed
// there are no checks and no network traffic at all.
class UpdaterManager final : public QObject {
    Q_OBJECT

public:
    static constexpr auto startDelay = std::chrono::milliseconds(3000);
    // Automatic checks are at least this far apart, across runs.
    static constexpr auto automaticCheckInterval = std::chrono::hours(24);
    // A program left running for days looks this often whether a check is due.
    static constexpr auto dueCheckPeriod = std::chrono::hours(1);
    // Store key of the last answered check (UTC, ISO 8601).
    static constexpr const char *lastUpdateCheckKey = "lastUpdateCheck";

    struct Config {
        QUrl feedUrl;                                 // empty: never check
        QString installedVersion;                     // what the feed is compared with
        QNetworkAccessManager *network = nullptr;     // null: the checker's own
        std::chrono::milliseconds transferTimeout = UpdateChecker::defaultTransferTimeout;
    };
    // The feed this build and the environment name, and the running version.
    static Config configured();

    UpdaterManager(DefaultsStore &store, Config config, QObject *parent = nullptr);
    ~UpdaterManager() override;

    // Runs runAutomaticCheck() startDelay from now, on this thread.
    void startDelayed();
    // Checks now if a feed is set and the last check is a day old or more.
    void runAutomaticCheck();
    // "Auf Updates prüfen …": checks now and answers in the dialog.
    void checkForUpdates();

    bool isStarted() const { return started_; }
    bool isStartPending() const { return startTimer_.isActive(); }
    bool isChecking() const { return checker_.isChecking(); }
    bool isAutomaticCheckDue() const;
    const Config &config() const { return config_; }
    // The dialog once a check has had something to say; null before.
    UpdateDialog *dialog() const { return dialog_.get(); }

signals:
    // Every finished check, whether the dialog showed it or not.
    void checkFinished(const UpdateCheckResult &result);

private:
    void checkFinishedInternally(const UpdateCheckResult &result);
    UpdateDialog &raiseDialog();

    DefaultsStore &store_;                   // keeps lastUpdateCheckKey
    Config config_;
    UpdateChecker checker_;                  // one check at a time
    QTimer startTimer_;                      // single shot: startDelay after startDelayed()
    QTimer dueTimer_;                        // repeats every dueCheckPeriod once started
    std::unique_ptr<UpdateDialog> dialog_;   // made on first use, then reused
    bool started_ = false;                   // the delayed start has run
    bool answerInDialog_ = false;            // the running check was asked for by the user
};
