#include "app/Commands.h"
#include "app/DarkAppearance.h"
#include "app/KelvraApplication.h"
#include "app/SingleInstance.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "settings/AppSettings.h"

#include <QApplication>
#include <QIcon>

// No mode given: the meter windows, one running copy per user.
int runGuiApplication(int argc, char **argv)
{
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

    KelvraApplication::Options options;
    options.platform = std::make_unique<PipeWireAudioPlatform>();
    KelvraApplication shell(AppSettings::shared(), std::move(options));
    QObject::connect(&instance, &SingleInstance::activationRequested, &shell, &KelvraApplication::showFirstWindow);
    shell.start();
    return app.exec();
}
