#pragma once

#include <QObject>

// Tells when the machine has woken from sleep: logind's PrepareForSleep(false) on the
// system D-Bus. Without a system bus (containers, CI) it silently never fires.
class SleepWakeWatcher : public QObject {
    Q_OBJECT

public:
    explicit SleepWakeWatcher(QObject *parent = nullptr);

    // Whether logind's signal could be subscribed to.
    bool isWatching() const { return watching_; }

signals:
    void woke();

private slots:
    void handlePrepareForSleep(bool goingToSleep);

private:
    bool watching_ = false; // subscribed to PrepareForSleep
};
