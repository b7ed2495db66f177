#include "app/shell/MenuTable.h"

CommandSpec commandSpec(MenuCommand command)
{
    using K = QKeySequence;
    switch (command) {
    case MenuCommand::about: return {QStringLiteral("About KelvraMeters"), {}};
    // These two read in German on purpose, as they always have.
    case MenuCommand::checkForUpdates: return {QStringLiteral("Auf Updates prüfen …"), {}};
    case MenuCommand::sendFeedback: return {QStringLiteral("Feedback senden …"), K(QStringLiteral("Ctrl+?"))};
    case MenuCommand::openSettings: return {QStringLiteral("Settings..."), K(QStringLiteral("Ctrl+,"))};
    case MenuCommand::openGradientEditor: return {QStringLiteral("Gradient Editor..."), {}};
    case MenuCommand::quit: return {QStringLiteral("Quit"), K(QStringLiteral("Ctrl+Q"))};
    case MenuCommand::resetPeaks: return {QStringLiteral("Reset Peaks"), K(QStringLiteral("Ctrl+R"))};
    case MenuCommand::toggleTitleBar: return {QStringLiteral("Title Bar"), K(QStringLiteral("Ctrl+W")), true};
    case MenuCommand::toggleShowScale: return {QStringLiteral("Show Scale"), K(QStringLiteral("Ctrl+S")), true};
    case MenuCommand::toggleShowValue: return {QStringLiteral("Show Value"), K(QStringLiteral("Ctrl+V")), true};
    case MenuCommand::togglePeakHold: return {QStringLiteral("Peak Hold"), K(QStringLiteral("Ctrl+P")), true};
    case MenuCommand::toggleSpectrum: return {QStringLiteral("Spectrum"), K(QStringLiteral("Ctrl+F")), true};
    case MenuCommand::toggleLufsMeter: return {QStringLiteral("LUFS Meter"), K(QStringLiteral("Ctrl+L")), true};
    case MenuCommand::toggleLissajous: return {QStringLiteral("Lissajous"), {}, true};
    case MenuCommand::toggleShowTitleBars: return {QStringLiteral("Show Title Bars"), {}, true};
    case MenuCommand::toggleTargetsTable: return {QStringLiteral("Delivery Targets"), {}, true};
    case MenuCommand::resetMaxPeaks: return {QStringLiteral("Reset Max Peaks"), {}};
    case MenuCommand::startStopEngine: return {QStringLiteral("Start"), {}};
    case MenuCommand::stayOnTop: return {QStringLiteral("Stay on Top"), {}, true};
    case MenuCommand::importGradients: return {QStringLiteral("Import Gradients..."), {}};
    case MenuCommand::exportAllCustomGradients: return {QStringLiteral("Export All Custom Gradients..."), {}};
    case MenuCommand::importSettings: return {QStringLiteral("Import Settings..."), K(QStringLiteral("Ctrl+Shift+I"))};
    case MenuCommand::exportSettings: return {QStringLiteral("Export Settings..."), K(QStringLiteral("Ctrl+Shift+E"))};
    case MenuCommand::showLevelMeter: return {QStringLiteral("Show Level Meter"), {}};
    case MenuCommand::showNumericalMeter: return {QStringLiteral("Show Numerical Meter"), {}};
    case MenuCommand::toggleLogging: return {QStringLiteral("Start Logging…"), {}};
    case MenuCommand::toggleLoudnessHistory: return {QStringLiteral("History"), {}, true};
    case MenuCommand::exportLoudnessReport: return {QStringLiteral("Export Loudness Report…"), {}};
    }
    return {};
}

namespace menu_table {

namespace {

MenuEntry item(MenuCommand command) { return MenuEntry::item(command); }
MenuEntry separator() { return MenuEntry::separator(); }

void append(std::vector<MenuEntry> &menu, std::vector<MenuEntry> more)
{
    for (MenuEntry &entry : more) menu.push_back(std::move(entry));
}

} // namespace

std::vector<MenuEntry> applicationMenu()
{
    return {item(MenuCommand::about),        item(MenuCommand::checkForUpdates),    item(MenuCommand::sendFeedback),
            separator(),                     item(MenuCommand::openSettings),       item(MenuCommand::openGradientEditor),
            separator(),                     item(MenuCommand::quit)};
}

std::vector<MenuEntry> viewMenu()
{
    return {item(MenuCommand::resetPeaks),     item(MenuCommand::toggleTitleBar), item(MenuCommand::toggleShowScale),
            item(MenuCommand::toggleShowValue), item(MenuCommand::togglePeakHold), item(MenuCommand::toggleSpectrum),
            item(MenuCommand::toggleLoudnessHistory), item(MenuCommand::toggleLufsMeter)};
}

std::vector<MenuEntry> fileMenu()
{
    return {item(MenuCommand::importGradients), item(MenuCommand::exportAllCustomGradients), separator(),
            item(MenuCommand::importSettings),  item(MenuCommand::exportSettings),           separator(),
            item(MenuCommand::toggleLogging),   item(MenuCommand::exportLoudnessReport)};
}

std::vector<MenuEntry> menuBarSubmenus()
{
    return {MenuEntry::submenu(QStringLiteral("KelvraMeters"), applicationMenu()),
            MenuEntry::submenu(QStringLiteral("View"), viewMenu()),
            MenuEntry::submenu(QStringLiteral("File"), fileMenu())};
}

std::vector<MenuEntry> levelMeterContextMenu()
{
    std::vector<MenuEntry> menu = {
        item(MenuCommand::toggleTitleBar),  item(MenuCommand::toggleShowScale), item(MenuCommand::toggleShowValue),
        item(MenuCommand::togglePeakHold),  item(MenuCommand::toggleSpectrum),
        item(MenuCommand::toggleLoudnessHistory), item(MenuCommand::toggleLufsMeter),
        item(MenuCommand::toggleLissajous), separator(),                        item(MenuCommand::resetPeaks),
        separator(),                        item(MenuCommand::openSettings),    separator(),
        item(MenuCommand::stayOnTop),       separator()};
    append(menu, menuBarSubmenus());
    return menu;
}

std::vector<MenuEntry> numericalMeterContextMenu()
{
    std::vector<MenuEntry> menu = {item(MenuCommand::toggleTitleBar), item(MenuCommand::toggleShowTitleBars),
                                   item(MenuCommand::toggleTargetsTable),
                                   item(MenuCommand::toggleSpectrum), separator(),
                                   item(MenuCommand::resetMaxPeaks),  separator(),
                                   item(MenuCommand::startStopEngine), separator(),
                                   item(MenuCommand::stayOnTop),      separator()};
    append(menu, menuBarSubmenus());
    return menu;
}

std::vector<MenuEntry> trayMenu()
{
    std::vector<MenuEntry> menu = {item(MenuCommand::showLevelMeter), item(MenuCommand::showNumericalMeter),
                                   separator()};
    append(menu, menuBarSubmenus());
    menu.push_back(separator());
    menu.push_back(item(MenuCommand::quit));
    return menu;
}

} // namespace menu_table
