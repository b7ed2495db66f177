// kelvrameters meter-file FILE [--ballistics NAME] [--resolution NAME] [--every SECONDS]
// Prints one JSON object per line to standard output; errors go to standard error
// with exit code 1 (a file that cannot be metered) or 2 (wrong arguments).
#include "cli/Modes.h"

#include "engine/MeterFileSession.h"

#include <QCoreApplication>

#include <cstdio>
#include <string>

namespace {

const QCommandLineOption ballisticsOption(QStringLiteral("ballistics"),
                                          QStringLiteral("Ballistics of the level bars (default \"Digital Peak\")."),
                                          QStringLiteral("NAME"));
const QCommandLineOption resolutionOption(QStringLiteral("resolution"),
                                          QStringLiteral("Spectrum resolution (default: the settings default)."),
                                          QStringLiteral("NAME"));
const QCommandLineOption everyOption(QStringLiteral("every"),
                                     QStringLiteral("Seconds of audio between printed reports (default 0.5)."),
                                     QStringLiteral("SECONDS"));

template <typename Cases, typename RawValue> QString listOf(const Cases &cases, RawValue rawValue)
{
    QStringList names;
    for (const auto value : cases) names << QLatin1Char('"') + QString::fromStdString(std::string(rawValue(value))) + QLatin1Char('"');
    return names.join(QStringLiteral(", "));
}

void addOptions(QCommandLineParser &parser)
{
    parser.addOption(ballisticsOption);
    parser.addOption(resolutionOption);
    parser.addOption(everyOption);
}

int run(const cli::Invocation &invocation)
{
    const QCommandLineParser &parser = invocation.parser;
    MeterFileOptions options;
    options.path = invocation.argument().toStdString();
    if (parser.isSet(ballisticsOption)) {
        const QString name = parser.value(ballisticsOption);
        const auto mode = meter_ballistics::fromRawValue(name.toStdString());
        if (!mode)
            return invocation.usageError(QStringLiteral("unknown ballistics \"%1\"; choose one of %2")
                                             .arg(name, listOf(meter_ballistics::allCases, meter_ballistics::rawValue)));
        options.ballistics = *mode;
    }
    if (parser.isSet(resolutionOption)) {
        const QString name = parser.value(resolutionOption);
        const auto resolution = octave_resolution::fromRawValue(name.toStdString());
        if (!resolution)
            return invocation.usageError(
                QStringLiteral("unknown resolution \"%1\"; choose one of %2")
                    .arg(name, listOf(octave_resolution::allCases, octave_resolution::rawValue)));
        options.resolution = *resolution;
    }
    if (parser.isSet(everyOption)) {
        const auto seconds = cli::positiveSeconds(parser.value(everyOption));
        if (!seconds)
            return invocation.usageError(
                QStringLiteral("--every needs a positive number of seconds, not \"%1\"").arg(parser.value(everyOption)));
        options.reportInterval = *seconds;
    }

    QCoreApplication application(invocation.argc, invocation.argv);
    std::string error;
    const bool ok = runMeterFile(
        options,
        [](double t, const MeterValues &values) { std::printf("%s\n", meterReportJson(t, values).c_str()); }, error);
    std::fflush(stdout);
    if (!ok) {
        cli::printError(QString::fromStdString(error));
        return 1;
    }
    return 0;
}

} // namespace

const cli::Mode cli::meterFileMode{
    "meter-file", "--meter-file", "FILE", 1, "Meter an audio file offline; JSON lines on standard output.",
    "The file plays through the live meters one display tick (1/60 s of audio) at a time, as fast\n"
    "as it can; a last report follows the end of the file.",
    addOptions, run};
