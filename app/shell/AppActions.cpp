#include "app/shell/AppActions.h"

#include "settings/AppSettings.h"

#include <QAction>
#include <QMenu>
#include <QSignalBlocker>
#include <QWidget>

namespace {

// The toggles bound to a stored flag, and how each reads and writes it.
constexpr MenuCommand settingToggles[] = {
    MenuCommand::toggleTitleBar, MenuCommand::toggleShowScale, MenuCommand::toggleShowValue,
    MenuCommand::togglePeakHold, MenuCommand::toggleSpectrum,  MenuCommand::toggleLufsMeter,
    MenuCommand::toggleLissajous, MenuCommand::toggleShowTitleBars, MenuCommand::toggleTargetsTable,
    MenuCommand::toggleLoudnessHistory,
};

bool readToggle(const AppSettings &settings, MenuCommand command)
{
    switch (command) {
    case MenuCommand::toggleTitleBar: return settings.showWindowChrome();
    case MenuCommand::toggleShowScale: return settings.showScale();
    case MenuCommand::toggleShowValue: return settings.showNumericalValue();
    case MenuCommand::togglePeakHold: return settings.showPeakHold();
    case MenuCommand::toggleSpectrum: return settings.showSpectralMeter();
    case MenuCommand::toggleLufsMeter: return settings.showLUFSMeter();
    case MenuCommand::toggleLissajous: return settings.showLissajousMeter();
    case MenuCommand::toggleShowTitleBars: return settings.showTitleBars();
    case MenuCommand::toggleTargetsTable: return settings.showTargetsTable();
    case MenuCommand::toggleLoudnessHistory: return settings.showLoudnessHistory();
    default: return false;
    }
}

void writeToggle(AppSettings &settings, MenuCommand command, bool on)
{
    switch (command) {
    case MenuCommand::toggleTitleBar: settings.setShowWindowChrome(on); break;
    case MenuCommand::toggleShowScale: settings.setShowScale(on); break;
    case MenuCommand::toggleShowValue: settings.setShowNumericalValue(on); break;
    case MenuCommand::togglePeakHold: settings.setShowPeakHold(on); break;
    case MenuCommand::toggleSpectrum: settings.setShowSpectralMeter(on); break;
    case MenuCommand::toggleLufsMeter: settings.setShowLUFSMeter(on); break;
    case MenuCommand::toggleLissajous: settings.setShowLissajousMeter(on); break;
    case MenuCommand::toggleShowTitleBars: settings.setShowTitleBars(on); break;
    case MenuCommand::toggleTargetsTable: settings.setShowTargetsTable(on); break;
    case MenuCommand::toggleLoudnessHistory: settings.setShowLoudnessHistory(on); break;
    default: break;
    }
}

constexpr MenuCommand plainCommands[] = {
    MenuCommand::about,          MenuCommand::checkForUpdates,    MenuCommand::sendFeedback,
    MenuCommand::openSettings,   MenuCommand::openGradientEditor, MenuCommand::quit,
    MenuCommand::resetPeaks,     MenuCommand::resetMaxPeaks,      MenuCommand::startStopEngine,
    MenuCommand::importGradients, MenuCommand::exportAllCustomGradients, MenuCommand::importSettings,
    MenuCommand::exportSettings, MenuCommand::showLevelMeter,     MenuCommand::showNumericalMeter,
    MenuCommand::toggleLogging,  MenuCommand::exportLoudnessReport,
};

QAction *makeAction(MenuCommand command, QObject *parent)
{
    const CommandSpec spec = commandSpec(command);
    auto *action = new QAction(spec.text, parent);
    action->setCheckable(spec.checkable);
    if (!spec.shortcut.isEmpty()) {
        action->setShortcut(spec.shortcut);
        action->setShortcutContext(Qt::WindowShortcut);
    }
    if (command == MenuCommand::quit) action->setMenuRole(QAction::QuitRole);
    return action;
}

} // namespace

QString AppActions::stayOnTopKey(MeterWindowType type)
{
    return QStringLiteral("KelvraMeters.stayOnTop.") + meter_window_type::rawValue(type);
}

AppActions::AppActions(AppSettings &settings, QObject *parent) : QObject(parent), settings_(settings)
{
    for (MenuCommand command : settingToggles) {
        QAction *action = makeAction(command, this);
        connect(action, &QAction::triggered, this, [this, command](bool checked) { writeToggle(settings_, command, checked); });
        actions_[command] = action;
    }
    for (MenuCommand command : plainCommands) {
        QAction *action = makeAction(command, this);
        connect(action, &QAction::triggered, this, [this, command] { emit triggered(command); });
        actions_[command] = action;
    }
    for (MeterWindowType type : {MeterWindowType::levelMeter, MeterWindowType::numericalMeter}) {
        QAction *action = makeAction(MenuCommand::stayOnTop, this);
        action->setChecked(settings_.store().readBool(stayOnTopKey(type)).value_or(false));
        connect(action, &QAction::triggered, this, [this, type](bool checked) {
            settings_.store().writeBool(stayOnTopKey(type), checked);
            emit stayOnTopToggled(type, checked);
        });
        stayOnTopActions_[type] = action;
    }
    syncToggles();
    connect(&settings_, &AppSettings::changed, this, &AppActions::syncToggles);
}

QAction *AppActions::action(MenuCommand command) const
{
    const auto it = actions_.find(command);
    return it == actions_.end() ? nullptr : it->second;
}

QAction *AppActions::stayOnTopAction(MeterWindowType type) const { return stayOnTopActions_.at(type); }

bool AppActions::staysOnTop(MeterWindowType type) const { return stayOnTopAction(type)->isChecked(); }

QMenu *AppActions::buildMenu(const std::vector<MenuEntry> &entries, std::optional<MeterWindowType> window,
                             QWidget *parent) const
{
    auto *menu = new QMenu(parent);
    fillMenu(menu, entries, window);
    return menu;
}

void AppActions::fillMenu(QMenu *menu, const std::vector<MenuEntry> &entries,
                          std::optional<MeterWindowType> window) const
{
    for (const MenuEntry &entry : entries) {
        switch (entry.kind) {
        case MenuEntry::Kind::separator: menu->addSeparator(); break;
        case MenuEntry::Kind::submenu: fillMenu(menu->addMenu(entry.title), entry.entries, window); break;
        case MenuEntry::Kind::command:
            if (entry.command == MenuCommand::stayOnTop) {
                if (window) menu->addAction(stayOnTopAction(*window));
            } else {
                menu->addAction(action(entry.command));
            }
            break;
        }
    }
}

void AppActions::installShortcuts(QWidget *window) const
{
    for (const auto &[command, action] : actions_) {
        if (!action->shortcut().isEmpty()) window->addAction(action);
    }
}

void AppActions::syncToggles()
{
    for (MenuCommand command : settingToggles) {
        QAction *action = actions_.at(command);
        const QSignalBlocker blocker(action);
        action->setChecked(readToggle(settings_, command));
    }
}
