// kelvrameters --export-settings / --import-settings, run as a user's script would run
// them, on a settings store under a temporary XDG_CONFIG_HOME.
#include "ExchangeTestSupport.h"

#include <QProcess>
#include <QProcessEnvironment>

using namespace exchange_test;

namespace {

struct CommandRun {
    int exitCode = -1;
    QString standardError;
};

struct ExchangeCommand : ::testing::Test {
    QTemporaryDir home;

    CommandRun run(const QStringList &arguments) const
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("HOME"), home.path());
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(KELVRA_APP_BINARY), arguments);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
            return {};
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
    }

    // The store the application wrote, opened as a second reader would open it.
    QSettingsDefaultsStore store() const
    {
        return QSettingsDefaultsStore(home.filePath(QStringLiteral("config/Kelvra/KelvraMeters.ini")));
    }
};

} // namespace

TEST_F(ExchangeCommand, ExportsImportsAndReportsFailuresThroughTheExitCode)
{
    const QString exported = home.filePath(QStringLiteral("exported.kmsettings"));
    const CommandRun exportRun = run({QStringLiteral("--export-settings"), exported});
    ASSERT_EQ(exportRun.exitCode, 0) << exportRun.standardError.toStdString();
    QString error;
    const auto record = settings_exchange::decode(readBytes(exported), error);
    ASSERT_TRUE(record) << error.toStdString();
    EXPECT_EQ(record->meterSize, 1.3);

    // A setup made elsewhere: import it and find it in the store. The ballistics and
    // resolution names are the engine's: the program must hand them to the importer.
    Installation elsewhere;
    elsewhere.settings.setMeterSize(2.5);
    elsewhere.settings.setMeterBallisticsModeString(QStringLiteral("PPM (EBU/BBC)"));
    elsewhere.settings.setSpectralOctaveResolutionString(QStringLiteral("1/48 Octave"));
    const QString setup = home.filePath(QStringLiteral("setup.kmsettings"));
    ASSERT_TRUE(settings_exchange::exportToFile(elsewhere.settings, setup).succeeded());
    const CommandRun importRun = run({QStringLiteral("--import-settings"), setup});
    ASSERT_EQ(importRun.exitCode, 0) << importRun.standardError.toStdString();
    EXPECT_EQ(store().readDouble(QStringLiteral("meterSize")), 2.5);
    EXPECT_EQ(store().readString(QStringLiteral("meterBallisticsMode")), QStringLiteral("PPM (EBU/BBC)"));
    EXPECT_EQ(store().readString(QStringLiteral("spectralOctaveResolution")), QStringLiteral("1/48 Octave"));

    const QString garbage = home.filePath(QStringLiteral("garbage.kmsettings"));
    writeBytes(garbage, "{\"version\": 2, \"meterSize\": \"big\"}");
    const std::vector<std::pair<QStringList, QString>> failing{
        {{QStringLiteral("--import-settings"), garbage}, QStringLiteral("Failed to import settings: ")},
        {{QStringLiteral("--export-settings"), home.filePath(QStringLiteral("no/dir/x"))},
         QStringLiteral("Failed to export settings: ")},
        {{QStringLiteral("--export-settings")}, QStringLiteral("kelvrameters: export-settings needs FILE\nUsage:")},
        {{QStringLiteral("import-settings")}, QStringLiteral("kelvrameters: import-settings needs FILE\nUsage:")},
    };
    for (const auto &[arguments, prefix] : failing) {
        const CommandRun failed = run(arguments);
        EXPECT_EQ(failed.exitCode, prefix.contains(QStringLiteral("Usage:")) ? 2 : 1) << arguments.join(' ').toStdString();
        EXPECT_TRUE(failed.standardError.startsWith(prefix)) << failed.standardError.toStdString();
    }
    EXPECT_EQ(store().readDouble(QStringLiteral("meterSize")), 2.5); // the failed import changed nothing
}
