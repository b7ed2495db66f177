#pragma once

#include <QKeySequence>
#include <QString>

#include <vector>

// Everything the menus can do. One QAction per command (per window for stayOnTop),
// shared by every menu that shows it.
enum class MenuCommand {
    about,
    checkForUpdates,
    sendFeedback,
    openSettings,
    openGradientEditor,
    quit,
    resetPeaks,
    toggleTitleBar,      // showWindowChrome
    toggleShowScale,     // showScale
    toggleShowValue,     // showNumericalValue
    togglePeakHold,      // showPeakHold
    toggleSpectrum,      // showSpectralMeter
    toggleLufsMeter,     // showLUFSMeter
    toggleLissajous,     // showLissajousMeter
    toggleShowTitleBars, // showTitleBars
    toggleTargetsTable,  // showTargetsTable
    resetMaxPeaks,
    startStopEngine,     // reads "Stop" while capturing, "Start" otherwise
    stayOnTop,           // per window
    importGradients,
    exportAllCustomGradients,
    importSettings,
    exportSettings,
    showLevelMeter,
    showNumericalMeter,
    toggleLogging,       // reads "Stop Logging" while the loudness log runs
    toggleLoudnessHistory, // showLoudnessHistory
    exportLoudnessReport,
};

// A command's text, shortcut and whether it is a checkable toggle.
struct CommandSpec {
    QString text;
    QKeySequence shortcut;
    bool checkable = false;
};

CommandSpec commandSpec(MenuCommand command);

// One entry of a menu: a command, a divider or a submenu.
struct MenuEntry {
    enum class Kind { command, separator, submenu };

    Kind kind = Kind::command;
    MenuCommand command = MenuCommand::about; // for Kind::command
    QString title;                            // for Kind::submenu
    std::vector<MenuEntry> entries;           // for Kind::submenu

    static MenuEntry item(MenuCommand command) { return {Kind::command, command, {}, {}}; }
    static MenuEntry separator() { return {Kind::separator, MenuCommand::about, {}, {}}; }
    static MenuEntry submenu(QString title, std::vector<MenuEntry> entries)
    {
        return {Kind::submenu, MenuCommand::about, std::move(title), std::move(entries)};
    }
};

// The menus, in the order they show. The application, View and File menus are what a
// menu bar would hold; here they appear as submenus of the context and tray menus.
namespace menu_table {

std::vector<MenuEntry> applicationMenu();
std::vector<MenuEntry> viewMenu();
std::vector<MenuEntry> fileMenu();
// The three menus above as submenus titled "KelvraMeters", "View", "File".
std::vector<MenuEntry> menuBarSubmenus();

std::vector<MenuEntry> levelMeterContextMenu();
std::vector<MenuEntry> numericalMeterContextMenu();
std::vector<MenuEntry> trayMenu();

} // namespace menu_table
