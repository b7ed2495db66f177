// Renders the images of docs/images: both meter windows while audio plays, every tab
// of the settings window (the Input tab tapping the first application that plays) and
// the gradient editor. Run it inside a session with audio (see README, "Screenshots");
// it captures the default input for a few seconds.
//
//   kelvra_app_screenshots OUTPUT_DIR [SECONDS]

#include "app/shell/DarkAppearance.h"
#include "app/gradients/GradientEditor.h"
#include "app/gradients/GradientStopBar.h"
#include "app/shell/KelvraApplication.h"
#include "app/windows/LevelMeterWindow.h"
#include "app/windows/NumericalMeterWindow.h"
#include "app/settingswindow/SettingsWindow.h"
#include "capture/AudioEngineControl.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "settings/AppSettings.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QTabWidget>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <vector>

namespace {

bool save(QWidget &widget, const QDir &dir, const QString &name)
{
    const QString path = dir.filePath(name + QStringLiteral(".png"));
    const bool ok = widget.grab().save(path);
    std::fprintf(stderr, "%s %s\n", ok ? "wrote" : "could not write", qPrintable(path));
    return ok;
}

QString slug(QString title) { return title.toLower().replace(QLatin1Char(' '), QLatin1Char('-')); }

// Lets the event loop run for `duration`, so timers and the audio server get their turn.
void settle(std::chrono::milliseconds duration)
{
    QEventLoop loop;
    QTimer::singleShot(duration, &loop, &QEventLoop::quit);
    loop.exec();
}

// The Input page shows a running tap: of the first application that plays (the README's
// recipe plays one), given a few seconds to be linked and for its read-out to fill in.
void tapFirstPlayingApplication(KelvraApplication &shell)
{
    AudioEngineControl *control = shell.engineControl();
    if (!control) return;
    control->refreshAudioProcesses();
    const std::vector<AudioProcessInfo> &processes = control->availableAudioProcesses();
    if (processes.empty() || !processes.front().isAudioActive) {
        std::fputs("no application plays audio: the Input page shows no tap\n", stderr);
        return;
    }
    const AudioProcessInfo process = processes.front();
    control->startProcessTapCapture(process);
    settle(std::chrono::milliseconds(5000));
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc < 2) {
        std::fputs("usage: kelvra_app_screenshots OUTPUT_DIR [SECONDS]\n", stderr);
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 5;
    applyDarkAppearance(app);

    // A fresh in-memory store: the pictures show the defaults plus the loudness panel.
    auto store = std::make_shared<MemoryDefaultsStore>();
    store->writeString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey),
                       QString::fromLatin1(AudioEngineControl::systemDefaultDevice));
    AppSettings settings(store);
    settings.setShowLUFSMeter(true);
    store->writeString(QStringLiteral("KelvraMeters.windowFrame.levelMeter"), QStringLiteral("{{40, 40}, {240, 760}}"));
    store->writeString(QStringLiteral("KelvraMeters.windowFrame.numericalMeter"),
                       QStringLiteral("{{320, 40}, {220, 124}}"));

    KelvraApplication::Options options;
    options.platform = std::make_unique<PipeWireAudioPlatform>();
    options.trayIcon = false;
    KelvraApplication shell(settings, std::move(options));
    shell.start();

    int failures = 0;
    QTimer::singleShot(seconds * 1000, &app, [&] {
        failures += !save(shell.levelMeterWindow(), dir, QStringLiteral("window-level-meter"));
        failures += !save(shell.numericalMeterWindow(), dir, QStringLiteral("window-numerical-meter"));

        shell.openSettingsWindow();
        SettingsWindow *settingsWindow = shell.settingsWindow();
        for (int i = 0; i < settingsWindow->tabs()->count(); ++i) {
            const QString title = settingsWindow->tabs()->tabText(i);
            const bool input = title == QStringLiteral("Input");
            // Tall enough for the longest page; the Input page with its three sources is longer.
            settingsWindow->setGeometry(560, 40, 560, input ? 950 : 880);
            settingsWindow->tabs()->setCurrentIndex(i);
            QCoreApplication::processEvents();
            if (input) tapFirstPlayingApplication(shell);
            failures += !save(*settingsWindow, dir, QStringLiteral("settings-") + slug(title));
        }
        settingsWindow->tabs()->setCurrentIndex(0);

        shell.openGradientEditor();
        GradientEditor *editor = shell.gradientEditor();
        editor->move(560, 460);
        // A user's own preset, with its first stop selected, shows every control.
        for (const GradientPreset &preset : settings.gradientPresets()) {
            if (preset.isBuiltIn) continue;
            editor->selectPreset(preset.id);
            emit editor->stopBar()->stopSelected(preset.stops.front().id);
            break;
        }
        QCoreApplication::processEvents();
        failures += !save(*editor, dir, QStringLiteral("gradient-editor"));
        // Everything stays open a moment for a look at the whole screen.
        QTimer::singleShot(1500, &app, [] { QCoreApplication::quit(); });
    });
    app.exec();
    return failures == 0 ? 0 : 1;
}
