#include "app/Commands.h"
#include "app/DarkAppearance.h"
#include "app/KelvraApplication.h"
#include "app/SingleInstance.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "settings/AppSettings.h"

#include <QApplication>
#include <QIcon>
#include <QStringList>

#include <cstdio>
#include <cstring>

namespace {

// --windows LIST: which meter windows to open, "level", "numerical", both separated by a
// comma, or "none" (start in the tray). False when LIST names something else.
bool parseWindows(int argc, char **argv, KelvraApplication::Options &options)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--windows") != 0) continue;
        if (i + 1 >= argc) return false;
        const QStringList names = QString::fromLocal8Bit(argv[i + 1]).split(QLatin1Char(','));
        options.showLevelMeter = names.contains(QStringLiteral("level"));
        options.showNumericalMeter = names.contains(QStringLiteral("numerical"));
        for (const QString &name : names) {
            if (name != QStringLiteral("level") && name != QStringLiteral("numerical") && name != QStringLiteral("none"))
                return false;
        }
    }
    return true;
}

} // namespace

// No mode given: the meter windows, one running copy per user.
int runGuiApplication(int argc, char **argv)
{
    KelvraApplication::Options options;
    if (!parseWindows(argc, argv, options)) {
        std::fprintf(stderr, "kelvrameters: --windows takes level, numerical, both (level,numerical) or none\n");
        return 2;
    }

    QApplication app(argc, argv);
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
