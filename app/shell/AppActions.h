#pragma once

#include "app/shell/MenuTable.h"
#include "app/windows/MeterWindowType.h"

#include <QObject>

#include <map>
#include <optional>
#include <vector>

class AppSettings;
class QAction;
class QMenu;
class QWidget;

// The QActions behind every menu entry, one per command, so that a toggle shows the
// same state in every menu and a shortcut exists once. Toggles of settings write
// the setting and follow it when it changes elsewhere; "Stay on Top" is kept per
// window in the settings store. Other commands are announced with triggered().
class AppActions final : public QObject {
    Q_OBJECT

public:
    static QString stayOnTopKey(MeterWindowType type);

    explicit AppActions(AppSettings &settings, QObject *parent = nullptr);

    // The command's action; stayOnTop has one per window, see stayOnTopAction().
    QAction *action(MenuCommand command) const;
    QAction *stayOnTopAction(MeterWindowType type) const;
    bool staysOnTop(MeterWindowType type) const;

    // A menu of the given entries; stayOnTop entries act on `window`.
    QMenu *buildMenu(const std::vector<MenuEntry> &entries, std::optional<MeterWindowType> window,
                     QWidget *parent = nullptr) const;
    // Makes every shortcut work while `window` is the active window.
    void installShortcuts(QWidget *window) const;

signals:
    void triggered(MenuCommand command);
    void stayOnTopToggled(MeterWindowType type, bool staysOnTop);

private:
    void fillMenu(QMenu *menu, const std::vector<MenuEntry> &entries, std::optional<MeterWindowType> window) const;
    void syncToggles();

    AppSettings &settings_;                                  // toggles read and write it
    std::map<MenuCommand, QAction *> actions_;               // one per command (children of this)
    std::map<MeterWindowType, QAction *> stayOnTopActions_;  // one per window (children of this)
};
