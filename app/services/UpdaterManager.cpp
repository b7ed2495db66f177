#include "app/services/UpdaterManager.h"

#include "app/services/UpdateDialog.h"
#include "settings/DefaultsStore.h"
#include "tools/update/UpdateFeed.h"

#include <QDateTime>

#include <utility>

UpdaterManager::Config UpdaterManager::configured()
{
    Config config;
    config.feedUrl = update_feed::configuredUrl();
    config.installedVersion = update_feed::runningVersion();
    return config;
}

UpdaterManager::UpdaterManager(DefaultsStore &store, Config config, QObject *parent)
    : QObject(parent), store_(store), config_(std::move(config)), checker_(config_.network)
{
    checker_.setTransferTimeout(config_.transferTimeout);
    connect(&checker_, &UpdateChecker::finished, this, &UpdaterManager::checkFinishedInternally);
    startTimer_.setSingleShot(true);
    startTimer_.setInterval(startDelay);
    connect(&startTimer_, &QTimer::timeout, this, &UpdaterManager::runAutomaticCheck);
    dueTimer_.setInterval(dueCheckPeriod);
    connect(&dueTimer_, &QTimer::timeout, this, &UpdaterManager::runAutomaticCheck);
}

UpdaterManager::~UpdaterManager() = default;

void UpdaterManager::startDelayed() { startTimer_.start(); }

void UpdaterManager::runAutomaticCheck()
{
    startTimer_.stop();
    if (!started_) {
        started_ = true;
        // The tray keeps the program running for days; look again now and then.
        if (!config_.feedUrl.isEmpty()) dueTimer_.start();
    }
    if (config_.feedUrl.isEmpty() || checker_.isChecking() || !isAutomaticCheckDue()) return;
    checker_.check(config_.feedUrl, config_.installedVersion);
}

void UpdaterManager::checkForUpdates()
{
    UpdateDialog &dialog = raiseDialog();
    if (config_.feedUrl.isEmpty()) {
        dialog.showNoFeed();
        return;
    }
    dialog.showChecking();
    answerInDialog_ = true;
    // An automatic check already under way answers this request too.
    if (!checker_.isChecking()) checker_.check(config_.feedUrl, config_.installedVersion);
}

bool UpdaterManager::isAutomaticCheckDue() const
{
    const std::optional<QString> text = store_.readString(QString::fromLatin1(lastUpdateCheckKey));
    if (!text) return true;
    const QDateTime last = QDateTime::fromString(*text, Qt::ISODate);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // A time in the future means the clock was set back: it must not hold checks off.
    if (!last.isValid() || last > now) return true;
    return last.secsTo(now) >= std::chrono::seconds(automaticCheckInterval).count();
}

void UpdaterManager::checkFinishedInternally(const UpdateCheckResult &result)
{
    using Failure = UpdateCheckResult::Failure;
    // Only a check that reached the server counts: offline at launch, the next launch
    // tries again instead of waiting a day.
    if (result.failure != Failure::network && result.failure != Failure::timeout)
        store_.writeString(QString::fromLatin1(lastUpdateCheckKey),
                           QDateTime::currentDateTimeUtc().toString(Qt::ISODate));

    const bool asked = std::exchange(answerInDialog_, false);
    if (asked || result.outcome == UpdateCheckResult::Outcome::updateAvailable) raiseDialog().showResult(result);
    emit checkFinished(result);
}

UpdateDialog &UpdaterManager::raiseDialog()
{
    if (!dialog_) {
        dialog_ = std::make_unique<UpdateDialog>();
        // Closed while checking: the user no longer waits for this answer (a newer
        // version still shows, as after an automatic check).
        connect(dialog_.get(), &QDialog::finished, this, [this] { answerInDialog_ = false; });
    }
    dialog_->show();
    dialog_->raise();
    dialog_->activateWindow();
    return *dialog_;
}
