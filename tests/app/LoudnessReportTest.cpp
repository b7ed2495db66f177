#include "app/services/LoudnessReport.h"
#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <cmath>
#include <numbers>

namespace {

// Feeds `seconds` of a stereo 1 kHz sine of peak `amplitude` and ticks the engine at
// 60 Hz meanwhile, as capture and the display would.
class Programme {
public:
    explicit Programme(AudioEngine &engine, double &now) : engine_(engine), now_(now)
    {
        engine_.setLoudnessMeter(meter_);
    }
    void play(float amplitude, double seconds)
    {
        constexpr int rate = 48000;
        constexpr std::size_t block = 800; // 1/60 s
        std::vector<float> samples(block);
        for (double t = 0.0; t < seconds; t += 1.0 / 60.0) {
            for (float &s : samples)
                s = amplitude * static_cast<float>(std::sin(2.0 * std::numbers::pi * 1000.0 * double(phase_++) / rate));
            meter_->addFrames(samples.data(), samples.data(), samples.size());
            now_ += 1.0 / 60.0;
            engine_.updateDisplayValues();
            const MeterValues &v = engine_.meterData().values();
            maxMomentary = std::max(maxMomentary, v.momentaryLUFS);
            maxShortTerm = std::max(maxShortTerm, v.shortTermLUFS);
        }
    }
    double maxMomentary = -70.0; // the largest published values seen by a viewer
    double maxShortTerm = -70.0;

private:
    AudioEngine &engine_;
    double &now_;
    std::shared_ptr<LoudnessMeter> meter_ = std::make_shared<LoudnessMeter>(2, 48000);
    std::size_t phase_ = 0;
};

class LoudnessReportTest : public ::testing::Test {
protected:
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    double now = 10.0;
    AudioEngine engine{settings, AudioEngine::TickSource::external, [this] { return now; }};
};

} // namespace

TEST_F(LoudnessReportTest, FiguresAreTheMeterValuesAndVerdictsFollowTheComplianceRules)
{
    Programme programme(engine, now);
    programme.play(0.05f, 6.0); // -26 LUFS
    programme.play(0.3f, 1.0);  // a burst 15 LU louder, not loud enough to gate the rest out
    programme.play(0.05f, 4.0);

    const MeterValues &values = engine.meterData().values();
    const QDateTime end = QDateTime::fromString(QStringLiteral("2026-03-01T12:00:11+01:00"), Qt::ISODate);
    const LoudnessReport report = loudness_report::build(engine.loudnessHistory(), values, QStringLiteral("Mic"), end);

    EXPECT_EQ(report.source, QStringLiteral("Mic"));
    EXPECT_DOUBLE_EQ(report.integrated, values.integratedLUFS);
    EXPECT_DOUBLE_EQ(report.loudnessRange, values.loudnessRange);
    EXPECT_DOUBLE_EQ(report.maxTruePeak, std::max(values.truePeakLeft, values.truePeakRight));
    // The maxima are what a viewer saw (published values move in 0.1 LU steps).
    EXPECT_NEAR(report.maxMomentary, programme.maxMomentary, 0.1);
    EXPECT_NEAR(report.maxShortTerm, programme.maxShortTerm, 0.1);
    EXPECT_GT(report.maxMomentary, report.integrated + 5.0); // the burst
    // 11 s of programme, ending now.
    EXPECT_EQ(report.end, end);
    EXPECT_NEAR(static_cast<double>(report.start.msecsTo(end)), 11000.0, 150.0);

    ASSERT_EQ(report.targets.size(), broadcast::builtInPresets().size());
    for (const LoudnessReport::TargetResult &target : report.targets) {
        const Compliance loudness = broadcast::integratedCompliance(values.integratedLUFS, target.preset);
        const Compliance peak = broadcast::truePeakCompliance(report.maxTruePeak, target.preset);
        EXPECT_EQ(target.loudness, loudness) << target.preset.name;
        EXPECT_EQ(target.truePeak, peak) << target.preset.name;
        const bool pass = loudness == Compliance::Pass && peak == Compliance::Pass;
        EXPECT_EQ(target.verdict, pass ? Compliance::Pass : Compliance::Fail) << target.preset.name;
    }
}

TEST_F(LoudnessReportTest, VerdictOnTheToleranceEdgePassesAndNothingMeasuredHasNone)
{
    MeterValues values;
    values.integratedLUFS = -24.0; // EBU R128: -23 ±1, on the edge
    values.truePeakLeft = -1.0;    // on the limit
    values.truePeakRight = -3.0;
    const LoudnessHistory history;
    const LoudnessReport edge = loudness_report::build(history, values, {}, QDateTime::currentDateTime());
    EXPECT_EQ(edge.targets.front().preset.name, "EBU R128");
    EXPECT_EQ(edge.targets.front().verdict, Compliance::Pass);

    values.truePeakLeft = -0.95;
    EXPECT_EQ(loudness_report::build(history, values, {}, QDateTime::currentDateTime()).targets.front().verdict,
              Compliance::Fail);

    const LoudnessReport nothing = loudness_report::build(history, MeterValues{}, {}, QDateTime::currentDateTime());
    for (const auto &target : nothing.targets) EXPECT_EQ(target.verdict, Compliance::Neutral);
    const QJsonObject json = QJsonDocument::fromJson(loudness_report::json(nothing)).object();
    EXPECT_TRUE(json.value(QStringLiteral("integrated_lufs")).isNull());
    EXPECT_TRUE(json.value(QStringLiteral("max_true_peak_dbtp")).isNull());
    EXPECT_TRUE(loudness_report::text(nothing).contains(QStringLiteral("Integrated:       —")));
}

TEST_F(LoudnessReportTest, WritesPictureTextAndJsonBesideEachOther)
{
    Programme programme(engine, now);
    programme.play(0.2f, 5.0);
    const LoudnessHistory &history = engine.loudnessHistory();
    const LoudnessReport report =
        loudness_report::build(history, engine.meterData().values(), QStringLiteral("File: a.wav"), QDateTime::currentDateTime());
    EXPECT_EQ(loudness_report::spanFor(history), 1);

    const QImage image = loudness_report::historyImage(history, settings.selectedBroadcastPreset(), 1);
    EXPECT_EQ(image.size(), QSize(1440, 440)); // twice the panel's points

    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString base = dir.filePath(QStringLiteral("report"));
    ASSERT_EQ(loudness_report::write(base + QStringLiteral(".png"), report, image), QString());
    for (const char *suffix : {".png", ".txt", ".json"}) EXPECT_TRUE(QFile::exists(base + QLatin1String(suffix)));

    QFile file(base + QStringLiteral(".json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
    EXPECT_EQ(json.value(QStringLiteral("source")).toString(), QStringLiteral("File: a.wav"));
    EXPECT_NEAR(json.value(QStringLiteral("integrated_lufs")).toDouble(), report.integrated, 0.05);
    EXPECT_NEAR(json.value(QStringLiteral("max_momentary_lufs")).toDouble(), report.maxMomentary, 0.05);
    EXPECT_EQ(json.value(QStringLiteral("targets")).toArray().size(), 7);
    EXPECT_TRUE(QDateTime::fromString(json.value(QStringLiteral("start")).toString(), Qt::ISODate).isValid());
}
