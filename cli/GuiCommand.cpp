// No mode: the meter windows, one running copy per user.
#include "app/shell/DarkAppearance.h"
#include "app/shell/KelvraApplication.h"
#include "app/shell/SingleInstance.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "cli/Modes.h"
#include "settings/AppSettings.h"

#include <QApplication>
#include <QIcon>
#include <QStringList>

namespace {

const QCommandLineOption windowsOption(
    QStringLiteral("windows"),
    QStringLiteral("The meter windows to open: level, numerical, both (level,numerical) or none (start in the tray)."),
    QStringLiteral("LIST"));

const QCommandLineOption sourceFileOption(
    QStringLiteral("source-file"),
    QStringLiteral("Meter this audio file as if it played, instead of the chosen source (not remembered)."),
    QStringLiteral("FILE"));
const QCommandLineOption stopAtEndOption(QStringLiteral("stop-at-end"),
                                         QStringLiteral("With --source-file: stop at the end instead of looping."));

void addOptions(QCommandLineParser &parser) { parser.addOptions({windowsOption, sourceFileOption, stopAtEndOption}); }

int run(const cli::Invocation &invocation)
{
    KelvraApplication::Options options;
    if (invocation.parser.isSet(windowsOption)) {
        const QStringList names = invocation.parser.value(windowsOption).split(QLatin1Char(','));
        for (const QString &name : names) {
            if (name != QStringLiteral("level") && name != QStringLiteral("numerical") && name != QStringLiteral("none"))
                return invocation.usageError(
                    QStringLiteral("--windows takes level, numerical, both (level,numerical) or none"));
        }
        options.showLevelMeter = names.contains(QStringLiteral("level"));
        options.showNumericalMeter = names.contains(QStringLiteral("numerical"));
    }

    options.sourceFile = invocation.parser.value(sourceFileOption);
    if (invocation.parser.isSet(stopAtEndOption)) {
        if (options.sourceFile.isEmpty())
            return invocation.usageError(QStringLiteral("--stop-at-end goes with --source-file"));
        options.sourceFileEnd = AtFileEnd::stop;
    }

    QApplication app(invocation.argc, invocation.argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kelvra"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvraMeters"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KELVRA_VERSION));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("KelvraMeters"));
    // Lets the desktop match the windows to the launcher entry and its icon.
    QGuiApplication::setDesktopFileName(QStringLiteral("com.kelvra.KelvraMeters"));

    SingleInstance instance;
    if (!instance.claim()) return 0; // the running copy shows its windows instead

    applyDarkAppearance(app);
    QApplication::setWindowIcon(applicationIcon());

    options.platform = std::make_unique<PipeWireAudioPlatform>();
    KelvraApplication shell(AppSettings::shared(), std::move(options));
    QObject::connect(&instance, &SingleInstance::activationRequested, &shell, &KelvraApplication::showFirstWindow);
    shell.start();
    return app.exec();
}

} // namespace

const cli::Mode cli::windowsMode{
    "", nullptr, "", 0, "Audio level and loudness meters for PipeWire: opens the meter windows.",
    "One copy runs per user; starting a second one brings the first one's windows forward.", addOptions, run};
