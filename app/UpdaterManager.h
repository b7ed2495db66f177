#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>

// Starts the software-update check a little after launch, so it never competes with
// the first frames of the meters. What the updater checks arrives with the update feed;
// until then starting it only marks it started.
class UpdaterManager final : public QObject {
    Q_OBJECT

public:
    static constexpr auto startDelay = std::chrono::milliseconds(3000);

    explicit UpdaterManager(QObject *parent = nullptr);

    // Starts the updater startDelay from now, on this thread.
    void startDelayed();
    // Asks for a check now ("Auf Updates prüfen …").
    void checkForUpdates();

    bool isStarted() const { return started_; }
    bool isStartPending() const { return startTimer_.isActive(); }

signals:
    void started();

private:
    void start();

    QTimer startTimer_;   // single shot: startDelay after startDelayed()
    bool started_ = false; // the updater runs
};
