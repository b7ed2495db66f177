// kelvrameters export-settings FILE / import-settings FILE: the settings exchange
// without panels, on the user's own settings store, for deploying one setup to several
// machines from a script. Exit code 0 on success, 1 with the failure on standard error.
#include "app/exchange/ExchangeDialogs.h"
#include "cli/Modes.h"
#include "settings/AppSettings.h"
#include "settings/SettingsExchange.h"

#include <QCoreApplication>

#include <functional>

namespace {

void noOptions(QCommandLineParser &) {}

int runExchange(const cli::Invocation &invocation,
                const std::function<ExchangeResult(AppSettings &, const QString &)> &operation)
{
    // Created before the settings so that the store is tied to a running application.
    QCoreApplication application(invocation.argc, invocation.argv);
    AppSettings &settings = AppSettings::shared();
    const ExchangeResult result = operation(settings, invocation.argument());
    // No event loop runs here, so nothing would flush the store at quit.
    settings.store().sync();
    return result.succeeded() ? 0 : 1;
}

int runExport(const cli::Invocation &invocation)
{
    return runExchange(invocation, [](AppSettings &settings, const QString &file) {
        return settings_exchange::exportToFile(settings, file);
    });
}

int runImport(const cli::Invocation &invocation)
{
    return runExchange(invocation, [](AppSettings &settings, const QString &file) {
        return settings_exchange::importFromFile(settings, file, exchange_dialogs::engineEnumerationNames());
    });
}

} // namespace

const cli::Mode cli::exportSettingsMode{
    "export-settings", "--export-settings", "FILE", 1,
    "Write every setting and custom gradient to FILE.", "", noOptions, runExport};

const cli::Mode cli::importSettingsMode{
    "import-settings", "--import-settings", "FILE", 1,
    "Read a settings file into this user's settings.",
    "A file that does not read changes nothing.", noOptions, runImport};
