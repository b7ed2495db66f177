#include "app/Commands.h"
#include "settings/DefaultsStore.h"

#include <QCoreApplication>
#include <QTextStream>

// Until the meter windows exist, the application reports its version and where
// its settings live.
int runGuiApplication(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kelvra"));
    QCoreApplication::setApplicationName(QStringLiteral("KelvraMeters"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KELVRA_VERSION));

    QSettingsDefaultsStore store;
    QTextStream out(stdout);
    out << "KelvraMeters " << QCoreApplication::applicationVersion() << "\n"
        << "Settings: " << store.fileName() << "\n";
    return 0;
}
