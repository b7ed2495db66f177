#include "app/settingswindow/AppAudioPanel.h"

#include "app/settingswindow/SettingsControls.h"
#include "capture/AudioEngineControl.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

using settings_controls::note;

AppAudioPanel::AppAudioPanel(AudioEngineControl *control, QWidget *parent)
    : QGroupBox(QStringLiteral("Chosen applications"), parent), control_(control)
{
    auto *layout = new QVBoxLayout(this);
    mode_ = new QCheckBox(QStringLiteral("Meter the audio of chosen applications"));
    mode_->setObjectName(QStringLiteral("appAudioMode"));
    layout->addWidget(mode_);
    layout->addWidget(note(QStringLiteral(
        "Meters the sum of what the checked applications play. While none of them plays the meters wait, and "
        "they resume as soon as one plays again. The applications stay audible.")));

    list_ = new QListWidget;
    list_->setObjectName(QStringLiteral("appList"));
    list_->setUniformItemSizes(true);
    // Room for six applications without pushing the rest of the page away; more scroll.
    list_->setFixedHeight(list_->fontMetrics().lineSpacing() * 6 + 2 * list_->frameWidth() + 8);
    // On the darker base of a list, check boxes (drawn in that same base) are hard to
    // see; on the lighter alternate base they look like the page's own check boxes.
    list_->viewport()->setBackgroundRole(QPalette::AlternateBase);
    layout->addWidget(list_);

    auto *refresh = new QPushButton(QStringLiteral("Refresh"));
    refresh->setObjectName(QStringLiteral("appRefresh"));
    auto *refreshRow = new QHBoxLayout;
    refreshRow->addWidget(note(QStringLiteral("Applications playing now come first, then installed ones.")), 1);
    refreshRow->addWidget(refresh);
    layout->addLayout(refreshRow);

    if (control_) {
        mode_->setChecked(control_->isAppAudioMode());
        connect(mode_, &QCheckBox::toggled, control_, &AudioEngineControl::setAppAudioMode);
        connect(control_, &AudioEngineControl::isAppAudioModeChanged, this, [this](bool enabled) {
            const QSignalBlocker blocker(mode_);
            mode_->setChecked(enabled);
        });
        connect(refresh, &QPushButton::clicked, control_, &AudioEngineControl::refreshApps);
        connect(list_, &QListWidget::itemChanged, this, &AppAudioPanel::chooseChecked);
        // Queued: a new selection can restart the capture, which publishes new lists
        // while the list is still handling the click on one of its items.
        connect(control_, &AudioEngineControl::appListsChanged, this, &AppAudioPanel::rebuildList,
                Qt::QueuedConnection);
        connect(control_, &AudioEngineControl::selectedAppsChanged, this, &AppAudioPanel::refreshChecks);
    } else {
        setEnabled(false);
    }
    rebuildList();
}

void AppAudioPanel::showEvent(QShowEvent *event)
{
    QGroupBox::showEvent(event);
    // Looking up the installed applications reads every desktop entry: done when the
    // page is first seen, not for every settings window that is only created.
    if (control_ && !scanned_) {
        scanned_ = true;
        control_->refreshApps();
    }
}

void AppAudioPanel::rebuildList()
{
    const QSignalBlocker blocker(list_);
    const int scrolled = list_->verticalScrollBar()->value();
    list_->clear();
    if (!control_) return;

    const QSet<QString> selected = control_->selectedApps();
    QSet<QString> listed;
    const auto add = [&](const QString &id, const QString &text) {
        if (listed.contains(id)) return;
        listed.insert(id);
        auto *item = new QListWidgetItem(text, list_);
        item->setData(Qt::UserRole, id);
        item->setToolTip(id);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        item->setCheckState(selected.contains(id) ? Qt::Checked : Qt::Unchecked);
    };
    for (const CapturedApp &app : control_->runningAppsForCapture())
        add(app.bundleIdentifier, app.displayName + QStringLiteral(" \u2014 playing"));
    for (const CapturedApp &app : control_->applicationDirApps()) add(app.bundleIdentifier, app.displayName);
    // A saved choice of an application that is gone stays visible, so it can be unchecked.
    QStringList missing;
    for (const QString &id : selected)
        if (!listed.contains(id)) missing << id;
    missing.sort(Qt::CaseInsensitive);
    for (const QString &id : missing) add(id, id + QStringLiteral(" \u2014 not found"));

    list_->verticalScrollBar()->setValue(scrolled);
}

void AppAudioPanel::refreshChecks()
{
    const QSet<QString> selected = control_->selectedApps();
    const QSignalBlocker blocker(list_);
    int found = 0;
    for (int row = 0; row < list_->count(); ++row) {
        QListWidgetItem *item = list_->item(row);
        const bool chosen = selected.contains(item->data(Qt::UserRole).toString());
        item->setCheckState(chosen ? Qt::Checked : Qt::Unchecked);
        found += chosen;
    }
    // Chosen elsewhere (an import, the command line) and not listed yet.
    if (found < selected.size()) QMetaObject::invokeMethod(this, &AppAudioPanel::rebuildList, Qt::QueuedConnection);
}

void AppAudioPanel::chooseChecked()
{
    QSet<QString> chosen;
    for (int row = 0; row < list_->count(); ++row) {
        const QListWidgetItem *item = list_->item(row);
        if (item->checkState() == Qt::Checked) chosen.insert(item->data(Qt::UserRole).toString());
    }
    control_->setSelectedApps(chosen);
}
