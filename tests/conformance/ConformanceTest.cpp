// The broadcast loudness meter cases (see ConformanceCases.h), each signal generated
// once per run into a temporary folder and metered three ways:
// - libebur128 directly, which checks the generated signals and the expected table
//   themselves, so a fault found by the other two is the meter's and not the signal's;
// - `kelvrameters analyze FILE --json`, the whole-file analysis, on every case;
// - the live path, `kelvrameters headless --source-file FILE --pace 8`, on a subset.
// With KELVRA_CONFORMANCE_TABLE=FILE the run writes the table of docs/conformance.md
// to FILE (scripts/conformance-table.sh).

#include "tests/conformance/ConformanceCases.h"
#include "tests/engine/CommandRun.h"
#include "tests/engine/QtTestSupport.h"

#include <ebur128.h>
#include <sndfile.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

enum class Path { reference, analyze, live };

constexpr double livePublicationStep = 0.1; // LU: see check()

// Measured value of each check by each path, for the table: key "3341-9/0".
std::map<std::string, std::map<Path, Verdict>> &verdicts()
{
    static std::map<std::string, std::map<Path, Verdict>> table;
    return table;
}

double maxOrNone(double a, double b) { return std::isnan(a) ? b : std::max(a, b); }

// libebur128 on the whole file; momentary every 10 ms, short term every 50 ms (a
// 400 ms window misses at most 5 ms of a tone, a 3 s one 25 ms: well inside 0.1 LU).
Readings referenceReadings(const std::string &path, bool truePeak)
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) return {};
    const int mode = EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I | EBUR128_MODE_LRA |
                     (truePeak ? EBUR128_MODE_TRUE_PEAK : 0);
    ebur128_state *state = ebur128_init(static_cast<unsigned>(info.channels), static_cast<unsigned long>(info.samplerate), mode);
    const sf_count_t chunk = info.samplerate / 100;
    std::vector<float> buffer(static_cast<std::size_t>(chunk * info.channels));
    Readings r;
    double shortTerm = -HUGE_VAL;
    sf_count_t done = 0;
    for (int step = 0;; ++step) {
        const sf_count_t got = sf_readf_float(file, buffer.data(), chunk);
        if (got <= 0) break;
        ebur128_add_frames_float(state, buffer.data(), static_cast<std::size_t>(got));
        done += got;
        double momentary = -HUGE_VAL;
        ebur128_loudness_momentary(state, &momentary);
        if (step % 5 == 4 || got < chunk) ebur128_loudness_shortterm(state, &shortTerm);
        r.series.push_back({static_cast<double>(done) / info.samplerate, momentary, shortTerm});
        r.maxMomentary = maxOrNone(r.maxMomentary, momentary);
        r.maxShortTerm = maxOrNone(r.maxShortTerm, shortTerm);
    }
    sf_close(file);
    r.momentary = r.series.empty() ? noReading : r.series.back().momentary;
    r.shortTerm = shortTerm;
    ebur128_loudness_global(state, &r.integrated);
    ebur128_loudness_range(state, &r.loudnessRange);
    if (truePeak) {
        for (unsigned channel = 0; channel < static_cast<unsigned>(info.channels); ++channel) {
            double peak = 0.0;
            ebur128_true_peak(state, channel, &peak);
            r.truePeak = maxOrNone(r.truePeak, 20.0 * std::log10(peak));
        }
    }
    ebur128_destroy(&state);
    return r;
}

double jsonNumber(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isDouble() ? value.toDouble() : noReading;
}

Readings analyzeReadings(const std::string &path)
{
    const CommandRun run = runKelvrameters({"analyze", QString::fromStdString(path), "--json"});
    EXPECT_EQ(run.exitCode, 0) << path << ": " << run.err.toStdString();
    if (run.reports.size() != 1) {
        ADD_FAILURE() << path << ": one JSON object expected, got " << run.out.toStdString();
        return {};
    }
    const QJsonObject &o = run.reports.front();
    Readings r;
    r.integrated = jsonNumber(o, "integrated_lufs");
    r.loudnessRange = jsonNumber(o, "lra_lu");
    r.maxMomentary = jsonNumber(o, "max_momentary_lufs");
    r.maxShortTerm = jsonNumber(o, "max_shortterm_lufs");
    r.truePeak = jsonNumber(o, "true_peak_dbtp");
    return r;
}

bool commandHasOption(const QStringList &mode, const QString &option)
{
    const CommandRun run = runKelvrameters(mode + QStringList{"--help"});
    return run.exitCode == 0 && QString::fromUtf8(run.out).contains(option);
}

// The published values as the program reports them over time, one report per display
// tick. The file source plays the file at eight times real time while the display tick
// keeps its 60 Hz of wall-clock time, so it reads the meters once per 133 ms of audio:
// fine for steady values and true peak, too coarse for the highest reading of a short
// burst. Those cases (and any build without the file source) go through meter-file,
// which ticks the same engine once per 1/60 s of audio.
Readings liveReadings(const std::string &path, bool everyTick)
{
    static const bool fileSource = commandHasOption({"headless"}, "--source-file");
    const QString file = QString::fromStdString(path);
    const CommandRun run = fileSource && !everyTick
        ? runKelvrameters({"headless", "--source-file", file, "--pace", "8", "--every", "0.02"})
        : runKelvrameters({"meter-file", file, "--every", QString::number(1.0 / 60, 'g', 17)});
    EXPECT_EQ(run.exitCode, 0) << path << ": " << run.err.toStdString();
    Readings r;
    for (const QJsonObject &o : run.reports) {
        const double momentary = jsonNumber(o, "momentaryLUFS");
        const double shortTerm = jsonNumber(o, "shortTermLUFS");
        r.series.push_back({jsonNumber(o, "t"), momentary, shortTerm});
        r.maxMomentary = maxOrNone(r.maxMomentary, momentary);
        r.maxShortTerm = maxOrNone(r.maxShortTerm, shortTerm);
        r.truePeak = maxOrNone(r.truePeak, std::max(jsonNumber(o, "truePeakLeft"), jsonNumber(o, "truePeakRight")));
        r.momentary = momentary;
        r.shortTerm = shortTerm;
        r.integrated = jsonNumber(o, "integratedLUFS");
        r.loudnessRange = jsonNumber(o, "loudnessRange");
    }
    EXPECT_FALSE(r.series.empty()) << path << ": no reports";
    return r;
}

bool checksTruePeak(const ConformanceCase &c)
{
    return std::any_of(c.checks.begin(), c.checks.end(), [](const Check &k) { return k.quantity == Quantity::truePeak; });
}

class Conformance : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        testApplication();
        directory = new QTemporaryDir();
        ASSERT_TRUE(directory->isValid());
    }

    static void TearDownTestSuite()
    {
        writeTable();
        delete directory;
        directory = nullptr;
    }

    // The case's files, made on first use.
    static std::vector<std::string> files(const ConformanceCase &c)
    {
        std::vector<std::string> paths;
        for (int i = 0; i < c.files; ++i) {
            const QString name = QString::fromStdString(c.name() + "-" + std::to_string(i + 1) + ".wav");
            const std::string path = QDir(directory->path()).filePath(name).toStdString();
            std::string error;
            if (!QFile::exists(QString::fromStdString(path))) {
                EXPECT_TRUE(c.make(i, path, error)) << error;
            }
            paths.push_back(path);
        }
        return paths;
    }

    // Meters every file of the case one way and checks each expectation that way can tell.
    template <typename Meter> static void check(Path way, const ConformanceCase &c, Meter meter)
    {
        std::vector<Readings> readings;
        for (const std::string &path : files(c)) readings.push_back(meter(path));
        for (std::size_t k = 0; k < c.checks.size(); ++k) {
            Check judged = c.checks[k];
            if (way == Path::live) {
                // The live read-out publishes a loudness value only when it moved by more
                // than 0.1 (so a steady signal repaints nothing): it may lag the
                // measurement by that step on top of the published tolerance.
                judged.below += livePublicationStep;
                judged.above += livePublicationStep;
            }
            const Verdict verdict = evaluate(judged, readings);
            verdicts()[c.name() + "/" + std::to_string(k)][way] = verdict;
            // A whole-file analysis cannot tell the cases meant for meters running in time.
            if (way == Path::analyze && !verdict.applicable) continue;
            EXPECT_TRUE(verdict.applicable) << c.name() << " " << quantityName(c.checks[k].quantity);
            EXPECT_TRUE(verdict.pass) << c.name() << " " << quantityName(c.checks[k].quantity) << ": expected "
                                      << expectation(c.checks[k]) << ", measured " << verdict.measured;
        }
    }

    static void writeTable();

    static inline QTemporaryDir *directory = nullptr;
};

TEST_F(Conformance, GeneratedSignalsReadAsPublishedOnTheReferenceMeter)
{
    for (const ConformanceCase &c : conformanceCases()) {
        check(Path::reference, c, [&](const std::string &path) { return referenceReadings(path, checksTruePeak(c)); });
    }
}

TEST_F(Conformance, AnalyzeReadsEveryCaseWithinTolerance)
{
    for (const ConformanceCase &c : conformanceCases()) {
        if (!c.timeSeriesOnly) check(Path::analyze, c, analyzeReadings);
    }
}

TEST_F(Conformance, LivePathReadsTheRepresentativeCasesWithinTolerance)
{
    for (const ConformanceCase &c : conformanceCases()) {
        if (c.live) check(Path::live, c, [&](const std::string &path) { return liveReadings(path, c.timeSeriesOnly); });
    }
}

void Conformance::writeTable()
{
    const char *target = std::getenv("KELVRA_CONFORMANCE_TABLE");
    if (target == nullptr || *target == '\0') return;
    QFile out(QString::fromLocal8Bit(target));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) return;
    const auto cell = [](const std::map<Path, Verdict> &row, Path way) -> std::string {
        const auto found = row.find(way);
        if (found == row.end()) return "—";
        return found->second.applicable ? found->second.measured : "n/a";
    };
    std::string table = "| document | case | signal | quantity | expected | libebur128 | analyze | live path | result |\n"
                        "|---|---|---|---|---|---|---|---|---|\n";
    for (const ConformanceCase &c : conformanceCases()) {
        for (std::size_t k = 0; k < c.checks.size(); ++k) {
            const std::map<Path, Verdict> &row = verdicts()[c.name() + "/" + std::to_string(k)];
            bool pass = true;
            for (const Path way : {Path::analyze, Path::live}) {
                const auto found = row.find(way);
                if (found != row.end() && found->second.applicable) pass = pass && found->second.pass;
            }
            table += "| " + c.document + " | " + std::to_string(c.number) + " | " + c.signal + " | " +
                     quantityName(c.checks[k].quantity) + " | " + expectation(c.checks[k]) + " | " +
                     cell(row, Path::reference) + " | " + cell(row, Path::analyze) + " | " + cell(row, Path::live) +
                     " | " + (pass ? "pass" : "**fail**") + " |\n";
        }
    }
    for (const UncoveredCase &c : uncoveredCases()) {
        table += "| " + c.document + " | " + std::to_string(c.number) + " | " + c.signal + " | | | | | | not covered: " +
                 c.reason + " |\n";
    }
    out.write(table.c_str());
}

} // namespace
