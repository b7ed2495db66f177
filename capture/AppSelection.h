#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

class DefaultsStore;

// The persisted choice of application audio: which applications, and whether the
// mode is on. Stored as one JSON object {"selectedBundleIDs": [...],
// "isSCKModeEnabled": bool} under "sckAppSelection".
struct AppSelectionData {
    static constexpr const char *key = "sckAppSelection";

    QStringList selectedBundleIDs; // in the order saved
    bool isSCKModeEnabled = false;

    // An absent or unreadable value gives an empty selection with the mode off.
    static AppSelectionData load(const DefaultsStore &store);
    void save(DefaultsStore &store) const;

    QSet<QString> ids() const { return {selectedBundleIDs.begin(), selectedBundleIDs.end()}; }
};
