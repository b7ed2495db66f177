#include "app/Commands.h"

#include "capture/AudioEngineControl.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "engine/AudioEngine.h"
#include "engine/MeterFileSession.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
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

// kelvrameters --headless --source NAME [--seconds N] [--every SECONDS]
//
// NAME is a name of the input picker, "app:NAME" (tap the process whose name or
// identifier is NAME) or "apps:ID,ID" (application audio of those applications).
// Meters one live source without windows and prints the published meter values as
// JSON lines, one every SECONDS (default 0.5) and a last one at the end, in the format
// of --meter-file. Runs N seconds, or until interrupted. Status lines go to standard
// error. Exit codes: 0 capture ran, 1 it could not start or the source went away,
// 2 wrong arguments.

namespace {

constexpr auto serverAnswerTimeout = std::chrono::seconds(5);
// How long a named application may take to show up among the players.
constexpr auto applicationTimeout = std::chrono::seconds(5);
const QString tapPrefix = QStringLiteral("app:");
const QString appsPrefix = QStringLiteral("apps:");

std::atomic<bool> interrupted{false};

void handleInterrupt(int) { interrupted.store(true); }

int usageError(const std::string &message)
{
    std::fprintf(stderr,
                 "kelvrameters: %s\nusage: kelvrameters --headless --source NAME|app:NAME|apps:ID,ID [--seconds N] "
                 "[--every SECONDS]\n",
                 message.c_str());
    return 2;
}

void printStatus(const QString &message)
{
    if (!message.isEmpty()) std::fprintf(stderr, "kelvrameters: %s\n", message.toLocal8Bit().constData());
}

std::optional<double> positiveSeconds(std::string_view text)
{
    const std::string value(text);
    char *end = nullptr;
    errno = 0;
    const double seconds = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || errno != 0 || !std::isfinite(seconds) || seconds <= 0.0) return std::nullopt;
    return seconds;
}

struct HeadlessOptions {
    QString source;                  // a name of the input picker
    std::optional<double> duration;  // s; none = until interrupted
    double reportInterval = 0.5;     // s between printed reports
};

// Returns an exit code when the arguments are wrong.
std::optional<int> parse(int argc, char **argv, HeadlessOptions &options)
{
    bool haveSource = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option == "--headless") continue;
        if (option != "--source" && option != "--seconds" && option != "--every") {
            return usageError("unknown option " + std::string(option));
        }
        if (i + 1 >= argc) return usageError(std::string(option) + " needs a value");
        const std::string_view value = argv[++i];
        if (option == "--source") {
            options.source = QString::fromLocal8Bit(value.data(), static_cast<qsizetype>(value.size()));
            haveSource = !options.source.isEmpty();
        } else {
            const std::optional<double> seconds = positiveSeconds(value);
            if (!seconds) return usageError(std::string(option) + " needs a positive number of seconds");
            if (option == "--seconds") {
                options.duration = *seconds;
            } else {
                options.reportInterval = *seconds;
            }
        }
    }
    if (!haveSource) return usageError("--source needs the name of an input source");
    if (options.source == QLatin1String(AudioEngineControl::noneDevice)) {
        return usageError("\"None\" captures nothing; choose a source");
    }
    return std::nullopt;
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

} // namespace

int runHeadlessCommand(int argc, char **argv)
{
    HeadlessOptions options;
    if (const std::optional<int> failure = parse(argc, argv, options)) return *failure;

    QCoreApplication application(argc, argv);
    std::signal(SIGINT, handleInterrupt);
    std::signal(SIGTERM, handleInterrupt);

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
    if (tap || apps) {
        const QString names = options.source.mid(tap ? tapPrefix.size() : appsPrefix.size());
        const QStringList ids = names.split(QLatin1Char(','), Qt::SkipEmptyParts);
        const bool started = tap ? startTap(control, names) : startApps(control, platform, QSet<QString>(ids.begin(), ids.end()));
        if (!started) {
            printStatus(QStringLiteral("Could not capture \"%1\".").arg(options.source));
            return 1;
        }
    } else {
        if (!control.availableInputDevices().contains(options.source)) {
            printStatus(QStringLiteral("No input source is named \"%1\". Sources: %2")
                            .arg(options.source, control.availableInputDevices().mid(1).join(QStringLiteral(", "))));
            return 1;
        }
        control.startIfNeeded();
        // A named device that cannot be captured is replaced by the default input; a log
        // of the wrong source would be worse than none.
        if (!control.isRunning() || control.selectedInputDevice() != options.source) {
            printStatus(QStringLiteral("Could not capture \"%1\".").arg(options.source));
            return 1;
        }
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
        QCoreApplication::quit();
    };

    QObject::connect(&control, &AudioEngineControl::selectedInputDeviceChanged, &application, [&](const QString &now) {
        printStatus(QStringLiteral("The source \"%1\" went away (now \"%2\").").arg(options.source, now));
        finish(1);
    });

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
