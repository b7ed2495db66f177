#include "app/UpdaterManager.h"

UpdaterManager::UpdaterManager(QObject *parent) : QObject(parent)
{
    startTimer_.setSingleShot(true);
    startTimer_.setInterval(startDelay);
    connect(&startTimer_, &QTimer::timeout, this, &UpdaterManager::start);
}

void UpdaterManager::startDelayed() { startTimer_.start(); }

void UpdaterManager::checkForUpdates()
{
    // A check needs a running updater; asking early starts it at once.
    if (!started_) start();
}

void UpdaterManager::start()
{
    startTimer_.stop();
    if (started_) return;
    started_ = true;
    emit started();
}
