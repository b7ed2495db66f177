#include "app/shell/KelvraApplication.h"

#include "app/shell/DarkAppearance.h"
#include "app/exchange/ExchangeDialogs.h"
#include "app/services/FeedbackSheet.h"
#include "app/services/LoudnessReport.h"
#include "app/gradients/GradientEditor.h"
#include "app/windows/LevelMeterWindow.h"
#include "app/windows/NumericalMeterWindow.h"
#include "app/settingswindow/SettingsWindow.h"
#include "capture/AudioEngineControl.h"
#include "settings/AppSettings.h"

#include <QAction>
#include <QDateTime>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QStandardPaths>
#include <QApplication>
#include <QCoreApplication>
#include <QMenu>
#include <QMessageBox>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QWindow>

KelvraApplication::KelvraApplication(AppSettings &settings, Options options)
    : settings_(settings),
      engine_(std::make_unique<AudioEngine>(settings, options.tickSource)),
      loudnessLog_([this]() -> const MeterValues & { return engine_->meterData().values(); }),
      platform_(std::move(options.platform)),
      styleManager_(settings.store()),
      actions_(settings),
      updater_(settings.store(), std::move(options.updater)),
      wantsTrayIcon_(options.trayIcon),
      showLevelMeterAtStart_(options.showLevelMeter),
      showNumericalMeterAtStart_(options.showNumericalMeter),
      sourceFileAtStart_(options.sourceFile),
      sourceFileEnd_(options.sourceFileEnd)
{
    // The meters live in small windows that come and go; the tray icon or a second
    // start brings them back, and only "Quit" ends the program.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (platform_) {
        control_ = std::make_unique<AudioEngineControl>(*engine_, *platform_, settings.store());
        // Without an audio server the windows would sit at -60 with nothing to show;
        // the built-in test signal keeps them alive while the status line says why.
        control_->setTestSignalWithoutServer(true);
    }

    levelWindow_ = std::make_unique<LevelMeterWindow>(settings_, engine_->meterData());
    numericalWindow_ = std::make_unique<NumericalMeterWindow>(settings_, engine_->meterData());
    levelWindow_->setLoudnessHistory(&engine_->loudnessHistory());

    levelMenu_.reset(actions_.buildMenu(menu_table::levelMeterContextMenu(), MeterWindowType::levelMeter));
    numericalMenu_.reset(actions_.buildMenu(menu_table::numericalMeterContextMenu(), MeterWindowType::numericalMeter));
    trayMenu_.reset(actions_.buildMenu(menu_table::trayMenu(), std::nullopt));
    connect(numericalMenu_.get(), &QMenu::aboutToShow, this, &KelvraApplication::updateStartStopText);
    updateStartStopText();

    for (MeterWindow *window : {static_cast<MeterWindow *>(levelWindow_.get()),
                                static_cast<MeterWindow *>(numericalWindow_.get())}) {
        styleManager_.registerWindow(window, window->type());
        window->chrome().setStaysOnTop(actions_.staysOnTop(window->type()));
        actions_.installShortcuts(window);
    }
    levelWindow_->installEventFilter(this);
    numericalWindow_->installEventFilter(this);
    levelWindow_->setContextMenu(levelMenu_.get());
    numericalWindow_->setContextMenu(numericalMenu_.get());
    applyChrome();

    connect(&settings_, &AppSettings::changed, this, [this] {
        for (MeterWindow *window : {static_cast<MeterWindow *>(levelWindow_.get()),
                                    static_cast<MeterWindow *>(numericalWindow_.get())})
            window->chrome().applyLater(settings_.showWindowChrome(), settings_.backgroundColor());
    });
    connect(&actions_, &AppActions::triggered, this, &KelvraApplication::runCommand);
    connect(&loudnessLog_, &LoudnessLog::runningChanged, this, &KelvraApplication::updateLoggingState);
    connect(&loudnessLog_, &LoudnessLog::failed, this, [this](const QString &message) {
        QMessageBox::warning(QApplication::activeWindow(), QStringLiteral("Loudness Log"), message);
    });
    if (control_) {
        connect(control_.get(), &AudioEngineControl::selectedInputDeviceChanged, this,
                [this] { loudnessLog_.setSourceName(currentSourceName()); });
    }
    updateLoggingState();
    connect(this, &KelvraApplication::showFeedbackSheet, this, &KelvraApplication::openFeedbackSheet);
    connect(&actions_, &AppActions::stayOnTopToggled, this, [this](MeterWindowType type, bool onTop) {
        MeterWindow &window = type == MeterWindowType::levelMeter ? static_cast<MeterWindow &>(*levelWindow_)
                                                                  : static_cast<MeterWindow &>(*numericalWindow_);
        window.chrome().setStaysOnTop(onTop);
    });
    connect(levelWindow_.get(), &LevelMeterWindow::resetPeaksRequested, engine_.get(), &AudioEngine::resetPeaks);
    connect(numericalWindow_.get(), &NumericalMeterWindow::resetPeaksRequested, engine_.get(),
            &AudioEngine::resetPeaks);
    connect(levelWindow_.get(), &MeterWindow::firstShown, this, &KelvraApplication::levelMeterFirstShown);
    connect(levelWindow_.get(), &LevelMeterWindow::sourcePromptClicked, this, &KelvraApplication::openInputSettings);
    if (control_) {
        connect(control_.get(), &AudioEngineControl::selectedInputDeviceChanged, this,
                &KelvraApplication::updateSourcePrompt);
        connect(control_.get(), &AudioEngineControl::availableInputDevicesChanged, this,
                &KelvraApplication::updateSourcePrompt);
    }
    updateSourcePrompt();
    if (control_) {
        connect(control_.get(), &AudioEngineControl::isRunningChanged, numericalWindow_.get(),
                &NumericalMeterWindow::setEngineRunning);
        numericalWindow_->setEngineRunning(control_->isRunning());
    }
}

KelvraApplication::~KelvraApplication()
{
    // The log's last row and its state change need the windows still there.
    loudnessLog_.stop();
    // Editor windows refer to the engine and its control: close them first.
    delete settingsWindow_;
    delete gradientEditor_;
    delete feedbackSheet_;
    // Capture stops before the engine it feeds goes away.
    control_.reset();
}

SettingsWindow *KelvraApplication::settingsWindow() const { return settingsWindow_; }

GradientEditor *KelvraApplication::gradientEditor() const { return gradientEditor_; }

FeedbackSheet *KelvraApplication::feedbackSheet() const { return feedbackSheet_; }

void KelvraApplication::start()
{
    if (showLevelMeterAtStart_) showWindow(*levelWindow_);
    if (showNumericalMeterAtStart_) showWindow(*numericalWindow_);
    // Capture otherwise starts when the level meter first appears.
    if (!showLevelMeterAtStart_ && control_) control_->startIfNeeded();
    // A file named on the command line replaces whatever source started.
    if (!sourceFileAtStart_.isEmpty() && control_) control_->startFileSource(sourceFileAtStart_, sourceFileEnd_);
    updateDisplayActive();
    if (wantsTrayIcon_ && QSystemTrayIcon::isSystemTrayAvailable()) createTrayIcon();
    updater_.startDelayed();
}

bool KelvraApplication::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::WindowStateChange:
        // Queued: during these events the window's own state is not final yet.
        QMetaObject::invokeMethod(this, &KelvraApplication::updateDisplayActive, Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void KelvraApplication::updateDisplayActive()
{
    const auto onScreen = [](const QWidget &window) { return window.isVisible() && !window.isMinimized(); };
    // The log records the published values, so the tick keeps running while it writes.
    engine_->setDisplayActive(onScreen(*levelWindow_) || onScreen(*numericalWindow_) || loudnessLog_.isRunning());
}

void KelvraApplication::showFirstWindow()
{
    MeterWindow *first = levelWindow_.get();
    if (!levelWindow_->isVisible() && numericalWindow_->isVisible()) first = numericalWindow_.get();
    showWindow(*first);
}

void KelvraApplication::showWindow(MeterWindow &window)
{
    window.show();
    window.raise();
    window.activateWindow();
}

void KelvraApplication::openSettingsWindow()
{
    if (!settingsWindow_) {
        settingsWindow_ = new SettingsWindow(settings_, *engine_, control_.get());
        settingsWindow_->setAttribute(Qt::WA_DeleteOnClose);
        connect(settingsWindow_, &SettingsWindow::gradientEditorRequested, this,
                &KelvraApplication::openGradientEditor);
    }
    settingsWindow_->show();
    settingsWindow_->raise();
    settingsWindow_->activateWindow();
}

void KelvraApplication::openGradientEditor()
{
    if (!gradientEditor_) {
        gradientEditor_ = new GradientEditor(settings_);
        gradientEditor_->setAttribute(Qt::WA_DeleteOnClose);
    }
    gradientEditor_->show();
    gradientEditor_->raise();
    gradientEditor_->activateWindow();
}

void KelvraApplication::openFeedbackSheet()
{
    if (!feedbackSheet_) {
        feedbackSheet_ = new FeedbackSheet(settings_, *engine_, control_.get());
        feedbackSheet_->setAttribute(Qt::WA_DeleteOnClose);
    }
    feedbackSheet_->show();
    feedbackSheet_->raise();
    feedbackSheet_->activateWindow();
}

void KelvraApplication::updateSourcePrompt()
{
    // "None" is the stored default; only a user who never chose anything is asked.
    const bool neverChosen =
        control_ && control_->selectedInputDevice() == QLatin1String(AudioEngineControl::noneDevice) &&
        !settings_.store().readString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey));
    if (!neverChosen) {
        levelWindow_->setSourcePrompt(std::nullopt);
        return;
    }
    SourcePrompt prompt;
    const QString defaultInput = platform_ ? platform_->defaultInputName() : QString();
    if (!defaultInput.isEmpty()) prompt.detail = "Default input: " + defaultInput.toStdString();
    levelWindow_->setSourcePrompt(prompt);
}

void KelvraApplication::openInputSettings()
{
    openSettingsWindow();
    QTabWidget *tabs = settingsWindow_->tabs();
    for (int i = 0; i < tabs->count(); ++i) {
        if (tabs->tabText(i) == QStringLiteral("Input")) tabs->setCurrentIndex(i);
    }
}

void KelvraApplication::quit()
{
    loudnessLog_.stop();
    // Hiding writes any frame whose save is still waiting for the drag to settle.
    levelWindow_->hide();
    numericalWindow_->hide();
    if (settingsWindow_) settingsWindow_->close();
    if (gradientEditor_) gradientEditor_->close();
    if (feedbackSheet_) feedbackSheet_->close();
    QCoreApplication::quit();
}

void KelvraApplication::runCommand(MenuCommand command)
{
    switch (command) {
    case MenuCommand::about: showAbout(); break;
    case MenuCommand::checkForUpdates: updater_.checkForUpdates(); break;
    case MenuCommand::sendFeedback: emit showFeedbackSheet(); break;
    case MenuCommand::openSettings: openSettingsWindow(); break;
    case MenuCommand::openGradientEditor: openGradientEditor(); break;
    case MenuCommand::quit: quit(); break;
    case MenuCommand::resetPeaks:
    case MenuCommand::resetMaxPeaks: engine_->resetPeaks(); break;
    case MenuCommand::startStopEngine:
        if (!control_) break;
        if (control_->isRunning())
            control_->stopEngine();
        else
            control_->startEngine();
        break;
    case MenuCommand::importGradients:
    case MenuCommand::exportAllCustomGradients:
    case MenuCommand::importSettings:
    case MenuCommand::exportSettings: runExchange(command); break;
    case MenuCommand::showLevelMeter: showWindow(*levelWindow_); break;
    case MenuCommand::showNumericalMeter: showWindow(*numericalWindow_); break;
    case MenuCommand::toggleLogging: toggleLogging(); break;
    case MenuCommand::exportLoudnessReport: exportLoudnessReport(); break;
    default: break;
    }
}

void KelvraApplication::runExchange(MenuCommand command)
{
    // The file dialogs belong to whichever window the command came from.
    QWidget *parent = QApplication::activeWindow();
    if (!parent) parent = levelWindow_.get();
    switch (command) {
    case MenuCommand::importGradients: exchange_dialogs::importGradients(parent, settings_); break;
    case MenuCommand::exportAllCustomGradients: exchange_dialogs::exportAllCustomGradients(parent, settings_); break;
    case MenuCommand::importSettings: exchange_dialogs::importAllSettings(parent, settings_); break;
    case MenuCommand::exportSettings: exchange_dialogs::exportAllSettings(parent, settings_); break;
    default: break;
    }
}

void KelvraApplication::applyChrome()
{
    for (MeterWindow *window : {static_cast<MeterWindow *>(levelWindow_.get()),
                                static_cast<MeterWindow *>(numericalWindow_.get())})
        window->chrome().apply(settings_.showWindowChrome(), settings_.backgroundColor());
}

void KelvraApplication::levelMeterFirstShown()
{
    // The tick runs at the refresh rate of the screen the level meter is on.
    if (QWindow *handle = levelWindow_->windowHandle()) {
        const auto followScreen = [this](QScreen *screen) {
            if (screen) engine_->setDisplayRefreshRate(screen->refreshRate());
        };
        followScreen(handle->screen());
        connect(handle, &QWindow::screenChanged, this, followScreen);
    }
    if (control_) control_->startIfNeeded();
}

void KelvraApplication::toggleLogging()
{
    if (loudnessLog_.isRunning()) {
        loudnessLog_.stop();
        return;
    }
    QWidget *parent = QApplication::activeWindow();
    const QString suggested =
        QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
            .filePath(QStringLiteral("KelvraMeters-loudness-%1.csv")
                          .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"))));
    const QString path = QFileDialog::getSaveFileName(parent, QStringLiteral("Start Logging"), suggested,
                                                      QStringLiteral("CSV files (*.csv)"));
    if (path.isEmpty()) return;
    const QString error = loudnessLog_.start(path, currentSourceName());
    if (!error.isEmpty()) QMessageBox::warning(parent, QStringLiteral("Loudness Log"), error);
}

void KelvraApplication::exportLoudnessReport()
{
    QWidget *parent = QApplication::activeWindow();
    const QString suggested =
        QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
            .filePath(QStringLiteral("KelvraMeters-report-%1.png")
                          .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"))));
    const QString path = QFileDialog::getSaveFileName(parent, QStringLiteral("Export Loudness Report"), suggested,
                                                      QStringLiteral("Loudness report (*.png)"));
    if (path.isEmpty()) return;
    const LoudnessHistory &history = engine_->loudnessHistory();
    const LoudnessReport report =
        loudness_report::build(history, engine_->meterData().values(), currentSourceName(),
                               QDateTime::currentDateTime());
    const QImage image =
        loudness_report::historyImage(history, settings_.selectedBroadcastPreset(), loudness_report::spanFor(history));
    const QString error = loudness_report::write(path, report, image);
    if (!error.isEmpty()) QMessageBox::warning(parent, QStringLiteral("Loudness Report"), error);
}

void KelvraApplication::updateLoggingState()
{
    const bool running = loudnessLog_.isRunning();
    actions_.action(MenuCommand::toggleLogging)
        ->setText(running ? QStringLiteral("Stop Logging") : QStringLiteral("Start Logging…"));
    const QString badge = running ? QStringLiteral("LOG") : QString();
    levelWindow_->setStatusBadge(badge);
    numericalWindow_->setStatusBadge(badge);
    if (trayIcon_)
        trayIcon_->setToolTip(running ? QStringLiteral("KelvraMeters — logging to %1").arg(loudnessLog_.path())
                                      : QStringLiteral("KelvraMeters"));
    updateDisplayActive();
}

QString KelvraApplication::currentSourceName() const
{
    if (!control_) return QStringLiteral("Test signal");
    return control_->displayName(control_->selectedInputDevice());
}

void KelvraApplication::updateStartStopText()
{
    QAction *action = actions_.action(MenuCommand::startStopEngine);
    action->setEnabled(control_ != nullptr);
    action->setText(control_ && control_->isRunning() ? QStringLiteral("Stop") : QStringLiteral("Start"));
}

void KelvraApplication::createTrayIcon()
{
    if (trayIcon_) return;
    trayIcon_ = new QSystemTrayIcon(applicationIcon(), this);
    trayIcon_->setToolTip(QStringLiteral("KelvraMeters"));
    trayIcon_->setContextMenu(trayMenu_.get());
    connect(trayIcon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) showFirstWindow();
    });
    trayIcon_->show();
}

void KelvraApplication::showAbout()
{
    QMessageBox::about(levelWindow_.get(), QStringLiteral("About KelvraMeters"),
                       QStringLiteral("<b>KelvraMeters %1</b><p>Peak, RMS and EBU R128 loudness meters for the "
                                      "desktop, with spectrum and phase scope.</p>")
                           .arg(QCoreApplication::applicationVersion()));
}
