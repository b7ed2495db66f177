// kelvrameters analyze FILE... [--json | --csv] [--target NAME] [--threads N]
// Measures each file and prints one row (or JSON object, or CSV record) per file, in the
// order given. Exit code: 0 all measured (and all pass the target), 1 a file misses the
// target, 2 a file could not be read in full or the arguments are wrong.
#include "cli/AnalyzeReport.h"
#include "cli/Modes.h"

#include "engine/analysis/BatchAnalyzer.h"
#include "settings/BroadcastPreset.h"

#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("One JSON object per file and line."));
const QCommandLineOption csvOption(QStringLiteral("csv"), QStringLiteral("CSV with a header line."));
const QCommandLineOption targetOption(
    QStringLiteral("target"),
    QStringLiteral("Judge each file against a delivery target (integrated loudness within its tolerance, true "
                   "peak at or under its limit); \"list\" prints the targets."),
    QStringLiteral("NAME"));
const QCommandLineOption threadsOption(QStringLiteral("threads"),
                                       QStringLiteral("Threads to measure with (default: one per core)."),
                                       QStringLiteral("N"));

void addOptions(QCommandLineParser &parser) { parser.addOptions({jsonOption, csvOption, targetOption, threadsOption}); }

void printTargets()
{
    for (const BroadcastPreset &preset : broadcast::builtInPresets())
        std::printf("%-12s %6.1f LUFS +/- %.1f LU, true peak at most %.1f dBTP\n", preset.name.c_str(),
                    preset.integratedTarget, preset.tolerance, preset.truePeakLimit);
}

// Exact name first, then ignoring case ("ebu r128").
std::optional<BroadcastPreset> findTarget(const QString &name)
{
    for (const BroadcastPreset &preset : broadcast::builtInPresets())
        if (QString::fromStdString(preset.name) == name) return preset;
    for (const BroadcastPreset &preset : broadcast::builtInPresets())
        if (QString::fromStdString(preset.name).compare(name, Qt::CaseInsensitive) == 0) return preset;
    return std::nullopt;
}

bool passes(const FileAnalysis &result, const BroadcastPreset &preset)
{
    const double integrated = result.integratedLufs.value_or(-HUGE_VAL);
    const double truePeak = analysis::maxPeakDecibels(result.truePeaks).value_or(-HUGE_VAL);
    return broadcast::integratedCompliance(integrated, preset) == Compliance::Pass &&
           broadcast::truePeakCompliance(truePeak, preset) == Compliance::Pass;
}

// One line on standard error, redrawn in place: the file, how far it got and how fast
// the batch goes compared with playing the audio.
class ProgressLine {
public:
    explicit ProgressLine(const QStringList &names) : names_(names), shown_(isatty(STDERR_FILENO) == 1) {}

    void update(const BatchProgress &progress)
    {
        if (!shown_) return;
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
        const QString name = QFileInfo(names_.value(static_cast<qsizetype>(progress.fileIndex))).fileName();
        QString line = QStringLiteral("[%1/%2] %3  %4%").arg(progress.fileIndex + 1).arg(names_.size()).arg(name).arg(
            static_cast<int>(progress.fileFraction * 100.0), 3);
        if (elapsed > 0.2 && progress.audioSeconds > 0.0)
            line += QStringLiteral("  %1x real time").arg(progress.audioSeconds / elapsed, 0, 'f', 0);
        std::fprintf(stderr, "\r\033[K%s", line.toLocal8Bit().constData());
        std::fflush(stderr);
        visible_ = true;
    }

    void clear()
    {
        if (!visible_) return;
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        visible_ = false;
    }

private:
    QStringList names_;
    bool shown_;
    bool visible_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

int run(const cli::Invocation &invocation)
{
    const QCommandLineParser &parser = invocation.parser;
    if (parser.isSet(targetOption) && parser.value(targetOption) == QStringLiteral("list")) {
        printTargets();
        return 0;
    }
    if (parser.isSet(jsonOption) && parser.isSet(csvOption))
        return invocation.usageError(QStringLiteral("choose one of --json and --csv"));
    std::optional<BroadcastPreset> target;
    if (parser.isSet(targetOption)) {
        target = findTarget(parser.value(targetOption));
        if (!target)
            return invocation.usageError(QStringLiteral("unknown target \"%1\"; \"--target list\" shows them")
                                             .arg(parser.value(targetOption)));
    }
    BatchAnalyzer::Options options;
    if (parser.isSet(threadsOption)) {
        bool ok = false;
        const int threads = parser.value(threadsOption).toInt(&ok);
        if (!ok || threads < 1 || threads > 256)
            return invocation.usageError(
                QStringLiteral("--threads needs a number from 1 to 256, not \"%1\"").arg(parser.value(threadsOption)));
        options.threads = static_cast<unsigned>(threads);
    }
    const QStringList names = invocation.arguments();
    if (names.isEmpty() || names.contains(QString()))
        return invocation.usageError(QStringLiteral("analyze needs FILE..."));

    std::vector<std::string> paths;
    for (const QString &name : names) paths.push_back(QFile::encodeName(name).toStdString());

    const bool json = parser.isSet(jsonOption), csv = parser.isSet(csvOption);
    if (csv) std::fputs(analyze_report::csvHeader(target.has_value()).c_str(), stdout);
    if (!json && !csv) std::fputs(analyze_report::textHeader(target.has_value()).c_str(), stdout);
    std::fflush(stdout);

    ProgressLine progress(names);
    bool anyUnreadable = false, anyFailed = false;
    qsizetype index = 0;
    BatchAnalyzer::run(
        paths, options,
        [&](FileAnalysis &&result) {
            const std::string name = names.at(index++).toStdString();
            std::optional<analyze_report::Verdict> verdict;
            if (target) {
                verdict = analyze_report::Verdict{target->name, {}};
                if (result.opened) verdict->pass = passes(result, *target);
            }
            progress.clear();
            if (!result.error.empty()) {
                anyUnreadable = true;
                cli::printError(QStringLiteral("%1: %2").arg(QString::fromStdString(name), QString::fromStdString(result.error)));
            }
            if (verdict && verdict->pass == false) anyFailed = true;
            if (json) {
                std::printf("%s\n", analyze_report::jsonLine(result, name, verdict).c_str());
            } else if (csv) {
                std::fputs(analyze_report::csvRow(result, name, verdict).c_str(), stdout);
            } else if (result.opened) {
                std::fputs(analyze_report::textRow(result, name, verdict).c_str(), stdout);
            }
            std::fflush(stdout);
        },
        [&](const BatchProgress &state) { progress.update(state); });
    progress.clear();
    return anyUnreadable ? 2 : anyFailed ? 1 : 0;
}

} // namespace

const cli::Mode cli::analyzeMode{
    "analyze", nullptr, "FILE...", cli::anyNumber,
    "Measure the loudness of audio files: integrated, range, maxima, true and sample peak.",
    "Reads any file libsndfile reads (WAV, FLAC, Ogg Vorbis, Opus, AIFF, CAF...). The values are\n"
    "those of one libebur128 measurement of the whole file; momentary and short-term maxima are\n"
    "sampled every 10 ms. A value that cannot be measured prints as -inf (null in JSON) with a\n"
    "note saying why. Exit code: 0 all files measured and on target, 1 a file misses the\n"
    "--target, 2 a file could not be read (its error on standard error) or wrong arguments.",
    addOptions, run};
