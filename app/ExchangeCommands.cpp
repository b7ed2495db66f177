// kelvrameters --export-settings FILE / --import-settings FILE: the settings exchange
// without panels, on the user's own settings store, for deploying one setup to several
// machines from a script. Exit code 0 on success, 1 with the failure on standard error.
#include "app/Commands.h"
#include "app/ExchangeDialogs.h"
#include "settings/AppSettings.h"
#include "settings/SettingsExchange.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>
#include <functional>
#include <optional>

namespace {

std::optional<QString> fileArgument(const QStringList &arguments, const QString &option)
{
    const qsizetype index = arguments.indexOf(option);
    if (index < 0 || index + 1 >= arguments.size())
        return std::nullopt;
    const QString file = arguments.at(index + 1);
    if (file.isEmpty() || file.startsWith(QLatin1String("--")))
        return std::nullopt;
    return file;
}

int runExchange(int argc, char **argv, const char *option,
                const std::function<ExchangeResult(AppSettings &, const QString &)> &operation)
{
    // Created before the settings so that the store is tied to a running application.
    QCoreApplication application(argc, argv);
    const auto file = fileArgument(QCoreApplication::arguments(), QLatin1String(option));
    if (!file) {
        std::fprintf(stderr, "usage: kelvrameters %s FILE\n", option);
        return 1;
    }
    AppSettings &settings = AppSettings::shared();
    const ExchangeResult result = operation(settings, *file);
    // No event loop runs here, so nothing would flush the store at quit.
    settings.store().sync();
    return result.succeeded() ? 0 : 1;
}

} // namespace

int runExportSettingsCommand(int argc, char **argv)
{
    return runExchange(argc, argv, "--export-settings", [](AppSettings &settings, const QString &file) {
        return settings_exchange::exportToFile(settings, file);
    });
}

int runImportSettingsCommand(int argc, char **argv)
{
    return runExchange(argc, argv, "--import-settings", [](AppSettings &settings, const QString &file) {
        return settings_exchange::importFromFile(settings, file, exchange_dialogs::engineEnumerationNames());
    });
}
