#include "cli/Modes.h"

#include "capture/AudioEngineControl.h"
#include "capture/FileSourceCaptureImpl.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "engine/AudioEngine.h"
#include "engine/LoudnessLog.h"
#include "engine/MeterFileSession.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <functional>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// kelvrameters headless --source NAME [--seconds N] [--every SECONDS] [--exit-on-source-loss]
// kelvrameters headless --source-file FILE [--loop] [--pace FACTOR] [--seconds N] [--every SECONDS]
//
// NAME is a name of the input picker (with its " (2)" for a second device of the same
// description) or a device's node.name, "app:NAME" (tap the process whose name or
// identifier is NAME) or "apps:ID,ID" (application audio of those applications).
// Meters one live source without windows and prints the published meter values as
// JSON lines, one every SECONDS (default 0.5) and a last one at the end, in the format
// of meter-file. Runs N seconds, or until SIGINT or SIGTERM. Status lines go to
// standard error. A device that goes away is replaced by the default input, as in the
// app, and taken back when it returns: a logger must not die on a USB hiccup.
// Exit codes: 0 capture ran, 1 it could not start (or, with --exit-on-source-loss, the
// source went away), 2 wrong arguments.
//
// --source-file feeds an audio file through the live path instead (no audio server
// needed), at FACTOR times real time; t, --seconds and --every then count the file's
// time. At the end of the file (without --loop) it prints the last report and exits 0.

namespace {

constexpr auto serverAnswerTimeout = std::chrono::seconds(5);
// How long a named application may take to show up among the players.
constexpr auto applicationTimeout = std::chrono::seconds(5);
const QString tapPrefix = QStringLiteral("app:");
const QString appsPrefix = QStringLiteral("apps:");

const QCommandLineOption sourceOption(
    QStringLiteral("source"),
    QStringLiteral("What to meter: an input source by name (\"System Default\", a device, \"Monitor of ...\") "
                   "or node name, app:NAME for one application, apps:ID,ID for several."),
    QStringLiteral("NAME"));
const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                       QStringLiteral("Stop after this many seconds (default: run until interrupted)."),
                                       QStringLiteral("N"));
const QCommandLineOption everyOption(QStringLiteral("every"),
                                     QStringLiteral("Seconds between printed reports (default 0.5)."),
                                     QStringLiteral("SECONDS"));
const QCommandLineOption exitOnLossOption(
    QStringLiteral("exit-on-source-loss"),
    QStringLiteral("End with exit code 1 when the source goes away, instead of metering the default input until "
                   "it returns."));

const QCommandLineOption sourceFileOption(
    QStringLiteral("source-file"),
    QStringLiteral("Meter an audio file through the live path instead of a source, as if it played."),
    QStringLiteral("FILE"));
const QCommandLineOption loopOption(QStringLiteral("loop"),
                                    QStringLiteral("With --source-file: start again at the end instead of stopping."));
const QCommandLineOption paceOption(
    QStringLiteral("pace"),
    QStringLiteral("With --source-file: feed the file this many times faster than real time (default 1)."),
    QStringLiteral("FACTOR"));

const QCommandLineOption logOption(
    QStringLiteral("log"),
    QStringLiteral("Also write the loudness ten times a second to this CSV file (flushed every second)."),
    QStringLiteral("FILE.csv"));

std::atomic<bool> interrupted{false};

void handleInterrupt(int) { interrupted.store(true); }

void printStatus(const QString &message)
{
    if (!message.isEmpty()) cli::printError(message);
}

struct HeadlessOptions {
    QString source;                  // a name of the input picker, a node name, app:, apps:
    std::optional<double> duration;  // s; none = until interrupted
    double reportInterval = 0.5;     // s between printed reports
    bool exitOnSourceLoss = false;
    QString sourceFile;              // an audio file fed through the live path, or empty
    AtFileEnd atEnd = AtFileEnd::stop;
    double pace = 1.0;               // file time per wall-clock time
    QString logFile;                 // the CSV loudness log, or empty
};

void addOptions(QCommandLineParser &parser)
{
    parser.addOptions({sourceOption, secondsOption, everyOption, exitOnLossOption, sourceFileOption, loopOption,
                       paceOption, logOption});
}

// Returns an exit code when the arguments are wrong.
std::optional<int> readOptions(const cli::Invocation &invocation, HeadlessOptions &options)
{
    const QCommandLineParser &parser = invocation.parser;
    options.source = parser.value(sourceOption);
    options.sourceFile = parser.value(sourceFileOption);
    if (!options.sourceFile.isEmpty() && parser.isSet(sourceOption))
        return invocation.usageError(QStringLiteral("--source and --source-file exclude each other"));
    if (options.sourceFile.isEmpty() && (parser.isSet(loopOption) || parser.isSet(paceOption)))
        return invocation.usageError(QStringLiteral("--loop and --pace go with --source-file"));
    if (parser.isSet(paceOption)) {
        const std::optional<double> pace = cli::positiveSeconds(parser.value(paceOption));
        if (!pace) return invocation.usageError(QStringLiteral("--pace needs a positive factor"));
        options.pace = *pace;
    }
    if (parser.isSet(loopOption)) options.atEnd = AtFileEnd::loop;
    if (!options.sourceFile.isEmpty()) options.source = options.sourceFile; // checked when it is opened
    if (options.source.isEmpty())
        return invocation.usageError(QStringLiteral("--source needs the name of an input source"));
    if (options.source == QLatin1String(AudioEngineControl::noneDevice))
        return invocation.usageError(QStringLiteral("\"None\" captures nothing; choose a source"));
    for (const QCommandLineOption *option : {&secondsOption, &everyOption}) {
        if (!parser.isSet(*option)) continue;
        const std::optional<double> seconds = cli::positiveSeconds(parser.value(*option));
        if (!seconds)
            return invocation.usageError(
                QStringLiteral("--%1 needs a positive number of seconds").arg(option->names().constFirst()));
        if (option == &secondsOption)
            options.duration = *seconds;
        else
            options.reportInterval = *seconds;
    }
    options.exitOnSourceLoss = parser.isSet(exitOnLossOption);
    options.logFile = parser.value(logOption);
    return std::nullopt;
}

// The CSV log of --log, running from now on; null (the reason printed) when the file
// cannot be written, or when no log was asked for.
std::unique_ptr<LoudnessLog> startLog(const HeadlessOptions &options, const AudioEngine &engine, const QString &source,
                                      bool &failed)
{
    failed = false;
    if (options.logFile.isEmpty()) return nullptr;
    auto log = std::make_unique<LoudnessLog>([&engine]() -> const MeterValues & { return engine.meterData().values(); });
    if (const QString error = log->start(options.logFile, source); !error.isEmpty()) {
        printStatus(error);
        failed = true;
        return nullptr;
    }
    QObject::connect(log.get(), &LoudnessLog::failed, &printStatus);
    return log;
}

void waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout)
{
    QElapsedTimer waited;
    waited.start();
    while (!condition() && std::chrono::milliseconds(waited.elapsed()) < timeout)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

// Taps the process named `name` (its name or identifier); false when there is none.
bool startTap(AudioEngineControl &control, const QString &name)
{
    std::optional<AudioProcessInfo> found;
    waitFor(
        [&] {
            control.refreshAudioProcesses();
            for (const AudioProcessInfo &process : control.availableAudioProcesses()) {
                if (process.name == name || process.bundleID == name) found = process;
            }
            return found.has_value();
        },
        applicationTimeout);
    if (!found) {
        QStringList names;
        for (const AudioProcessInfo &process : control.availableAudioProcesses()) names << process.name;
        printStatus(QStringLiteral("No application named \"%1\" plays audio. Playing: %2")
                        .arg(name, names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", "))));
        return false;
    }
    // A stream that just appeared announces its ports a moment later; the mixdown takes
    // the channels they have.
    waitFor([] { return false; }, std::chrono::milliseconds(300));
    control.startProcessTapCapture(*found);
    return control.isProcessTapRunning();
}

// Meters the applications `ids` together; false when none of them plays.
bool startApps(AudioEngineControl &control, const AudioPlatform &platform, const QSet<QString> &ids)
{
    waitFor(
        [&] {
            const std::vector<CapturedApp> running = platform.runningApps();
            return std::any_of(running.begin(), running.end(),
                               [&](const CapturedApp &app) { return ids.contains(app.bundleIdentifier); });
        },
        applicationTimeout);
    control.setSelectedApps(ids);
    control.setAppAudioMode(true);
    return control.isRunning();
}

// The file source needs no audio server, and this run offers nothing else.
class NoAudioServer final : public AudioPlatform {
public:
    Access access() const override { return Access::unreachable; }
    QString accessProblem() const override { return QStringLiteral("Only a file is metered in this run."); }
    std::vector<InputDevice> inputDevices() const override { return {}; }
    bool isDeviceAlive(std::uint32_t) override { return false; }
    int defaultOutputChannelCount() const override { return 2; }
    StartResult startDefaultInput() override { return {nullptr, accessProblem()}; }
    StartResult startDevice(std::uint32_t) override { return {nullptr, accessProblem()}; }
};

int runFileSource(const HeadlessOptions &options)
{
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    settings.setShowSpectralMeter(true);
    settings.setShowLissajousMeter(true);
    settings.setShowLUFSMeter(true);
    AudioEngine engine(settings);
    NoAudioServer platform;
    MemoryDefaultsStore selectionStore;
    AudioEngineControl control(engine, platform, selectionStore);
    QObject::connect(&engine, &AudioEngine::errorMessageChanged, &printStatus);
    if (!control.startFileSource(options.sourceFile, options.atEnd, options.pace)) return 1;
    const FileSourceCaptureImpl &file = *control.fileSource();
    bool logFailed = false;
    const std::unique_ptr<LoudnessLog> log =
        startLog(options, engine, QFileInfo(options.sourceFile).fileName(), logFailed);
    if (logFailed) return 1;

    int exitCode = 0;
    bool finished = false;
    const auto report = [&] {
        std::printf("%s\n", meterReportJson(file.elapsed(), engine.meterData().values()).c_str());
        std::fflush(stdout);
    };
    const auto finish = [&](int code) {
        if (std::exchange(finished, true)) return;
        exitCode = code;
        // One more tick, so the report includes every block fed so far (the last one too).
        engine.updateDisplayValues();
        report();
        if (log) log->stop();
        QCoreApplication::quit();
    };
    QObject::connect(&control, &AudioEngineControl::fileSourceEnded, [&] { finish(0); });

    QTimer reports; // every --every seconds of the file
    QObject::connect(&reports, &QTimer::timeout, report);
    reports.start(std::max(1, static_cast<int>(std::lround(options.reportInterval * 1000.0 / options.pace))));

    QTimer watch; // the end of the run, or an interrupt
    QObject::connect(&watch, &QTimer::timeout, [&] {
        const bool timeUp = options.duration && file.elapsed() >= *options.duration;
        if (timeUp || interrupted.load()) finish(0);
    });
    watch.start(5);

    QCoreApplication::exec();
    return exitCode;
}

int run(const cli::Invocation &invocation)
{
    HeadlessOptions options;
    if (const std::optional<int> failure = readOptions(invocation, options)) return *failure;

    QCoreApplication application(invocation.argc, invocation.argv);
    std::signal(SIGINT, handleInterrupt);
    std::signal(SIGTERM, handleInterrupt);
    if (!options.sourceFile.isEmpty()) return runFileSource(options);

    // Nothing here touches the user's settings or saved source.
    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    settings.setShowSpectralMeter(true);
    settings.setShowLissajousMeter(true);
    settings.setShowLUFSMeter(true);
    AudioEngine engine(settings);
    PipeWireAudioPlatform platform;
    MemoryDefaultsStore selectionStore;
    selectionStore.writeString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey), options.source);

    waitFor([&] { return platform.access() != AudioPlatform::Access::pending; }, serverAnswerTimeout);
    if (platform.access() != AudioPlatform::Access::granted) {
        const QString problem = platform.accessProblem();
        printStatus(QStringLiteral("Failed to start audio engine: ") +
                    (problem.isEmpty() ? QStringLiteral("The PipeWire audio server did not answer.") : problem));
        return 1;
    }

    AudioEngineControl control(engine, platform, selectionStore);
    QObject::connect(&engine, &AudioEngine::errorMessageChanged, &printStatus);
    const bool tap = options.source.startsWith(tapPrefix);
    const bool apps = options.source.startsWith(appsPrefix);
    QString sourceKey = options.source; // an input device's key once it is found
    if (tap || apps) {
        const QString names = options.source.mid(tap ? tapPrefix.size() : appsPrefix.size());
        const QStringList ids = names.split(QLatin1Char(','), Qt::SkipEmptyParts);
        const bool started = tap ? startTap(control, names) : startApps(control, platform, QSet<QString>(ids.begin(), ids.end()));
        if (!started) {
            printStatus(QStringLiteral("Could not capture \"%1\".").arg(options.source));
            return 1;
        }
    } else {
        const std::optional<QString> key = control.inputDeviceKey(options.source);
        if (!key) {
            printStatus(QStringLiteral("No input source is named \"%1\". Sources: %2")
                            .arg(options.source, control.availableInputDevices().mid(1).join(QStringLiteral(", "))));
            return 1;
        }
        sourceKey = *key;
        control.startIfNeeded();
        // A named device that cannot be captured is replaced by the default input; a log
        // of the wrong source would be worse than none.
        if (!control.isRunning() || control.selectedInputDevice() != sourceKey) {
            printStatus(QStringLiteral("Could not capture \"%1\".").arg(control.displayName(sourceKey)));
            return 1;
        }
    }

    bool logFailed = false;
    const std::unique_ptr<LoudnessLog> log =
        startLog(options, engine, tap || apps ? options.source : control.displayName(sourceKey), logFailed);
    if (logFailed) return 1;
    if (log && !tap && !apps) {
        QObject::connect(&control, &AudioEngineControl::selectedInputDeviceChanged, log.get(),
                         [&](const QString &now) { log->setSourceName(control.displayName(now)); });
    }

    int exitCode = 0;
    bool finished = false;
    QElapsedTimer sinceStart;
    sinceStart.start();
    const auto report = [&] {
        const double t = static_cast<double>(sinceStart.nsecsElapsed()) / 1e9;
        std::printf("%s\n", meterReportJson(t, engine.meterData().values()).c_str());
        std::fflush(stdout);
    };
    const auto finish = [&](int code) {
        if (std::exchange(finished, true)) return;
        exitCode = code;
        report();
        if (log) log->stop();
        QCoreApplication::quit();
    };

    QObject::connect(&control, &AudioEngineControl::selectedInputDeviceChanged, &application, [&](const QString &now) {
        const QString source = control.displayName(sourceKey);
        if (now == sourceKey) {
            printStatus(QStringLiteral("\"%1\" is back; metering it again.").arg(source));
        } else if (options.exitOnSourceLoss) {
            printStatus(
                QStringLiteral("The source \"%1\" went away (now \"%2\").").arg(source, control.displayName(now)));
            finish(1);
        } else {
            printStatus(QStringLiteral("The source \"%1\" went away; metering \"%2\" until it returns.")
                            .arg(source, control.displayName(now)));
        }
    });
    // The engine falls back to the default input; the named device is taken back as
    // soon as it is plugged in again.
    if (!tap && !apps) {
        QObject::connect(&control, &AudioEngineControl::availableInputDevicesChanged, &application, [&] {
            if (!options.exitOnSourceLoss && control.selectedInputDevice() != sourceKey &&
                control.inputDeviceKey(sourceKey))
                control.setSelectedInputDevice(sourceKey);
        });
    }

    QTimer reports;
    QObject::connect(&reports, &QTimer::timeout, report);
    reports.start(static_cast<int>(std::lround(options.reportInterval * 1000.0)));

    QTimer watch; // the end of the run, or an interrupt
    QObject::connect(&watch, &QTimer::timeout, [&] {
        const bool timeUp = options.duration && sinceStart.elapsed() >= std::llround(*options.duration * 1000.0);
        if (timeUp || interrupted.load()) finish(0);
    });
    watch.start(20);

    QCoreApplication::exec();
    return exitCode;
}

} // namespace

const cli::Mode cli::headlessMode{
    "headless", "--headless", "--source NAME | --source-file FILE", 0, "Meter a live source without windows; JSON lines.",
    "A device that goes away is replaced by the default input until it returns (status on standard\n"
    "error); SIGINT and SIGTERM end the run after a last report.",
    addOptions, run};
