// One file, one loudness: analyze, meter-file and the file source read a file through the
// same reader and measure every channel with the same BS.1770 weights, so they give the
// same integrated loudness and true peak for mono and surround files alike, and call a
// damaged file damaged in the same words.

#include "capture/AudioEngineControl.h"
#include "capture/FileSourceCaptureImpl.h"
#include "engine/AudioEngine.h"
#include "engine/MeterFileSession.h"
#include "engine/analysis/FileAnalyzer.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/capture/FakeAudioPlatform.h"
#include "tests/dsp/TestAudioFiles.h"
#include "tests/engine/QtTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>

using namespace std::chrono_literals;

namespace {

// Pink-ish noise (Paul Kellet's three-pole filter over white noise), one generator per
// channel, each channel at its own gain. Frames must be asked for in order.
class PinkishNoise {
public:
    explicit PinkishNoise(std::vector<float> gains) : gains_(std::move(gains)), state_(gains_.size()) {}
    float operator()(std::size_t, int channel)
    {
        State &s = state_[static_cast<std::size_t>(channel)];
        s.seed = s.seed * 1664525u + 1013904223u + static_cast<std::uint32_t>(channel);
        const float white = static_cast<float>(s.seed >> 8) / 8388608.0f - 1.0f;
        s.b0 = 0.99765f * s.b0 + white * 0.0990460f;
        s.b1 = 0.96300f * s.b1 + white * 0.2965164f;
        s.b2 = 0.57000f * s.b2 + white * 1.0526913f;
        return 0.15f * gains_[static_cast<std::size_t>(channel)] * (s.b0 + s.b1 + s.b2 + white * 0.1848f);
    }

private:
    struct State {
        std::uint32_t seed = 12345;
        float b0 = 0, b1 = 0, b2 = 0;
    };
    std::vector<float> gains_;
    std::vector<State> state_;
};

struct Layout {
    const char *name;
    int sampleRate;
    int format;
    std::vector<float> gains;   // per channel
    std::vector<int> channelMap; // empty: the container's default order
};

const Layout layouts[] = {
    {"mono.wav", 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {0.5f}, {}},
    // L R C LFE BL BR: the loudest channel is the LFE, left out of loudness but not of the true peak.
    {"surround-5.1.wav", 48000, SF_FORMAT_WAV | SF_FORMAT_PCM_24, {0.3f, 0.1f, 0.2f, 0.6f, 0.05f, 0.15f}, {}},
    // Its own map: the last two are front wide channels (weight 1), not side ones (+1.5 dB).
    {"surround-7.1.wav", 48000, SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, {0.1f, 0.1f, 0.2f, 0.3f, 0.1f, 0.05f, 0.5f, 0.4f},
     {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_LFE,
      SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT, SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
      SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER}},
};

constexpr double fileSeconds = 5.0;

class FileModesAgree : public ::testing::Test {
protected:
    FileModesAgree()
    {
        control = std::make_unique<AudioEngineControl>(engine, platform, store);
        QObject::connect(control.get(), &AudioEngineControl::fileSourceEnded, [this] { ++endCount; });
    }
    ~FileModesAgree() override { control.reset(); }

    // The last report of meter-file; false when it failed, with its error.
    static bool meterFile(const std::string &path, MeterValues &last, std::string &error)
    {
        MeterFileOptions options;
        options.path = path;
        options.reportInterval = 1000.0;
        return runMeterFile(options, [&last](double, const MeterValues &values) { last = values; }, error);
    }

    QCoreApplication &application = testApplication();
    QTemporaryDir dir;
    AppSettings settings{std::make_shared<MemoryDefaultsStore>()};
    AudioEngine engine{settings, AudioEngine::TickSource::external, [] { return 1.0; }};
    MemoryDefaultsStore store;
    FakeAudioPlatform platform;
    std::unique_ptr<AudioEngineControl> control;
    int endCount = 0; // fileSourceEnded() emissions
};

TEST_F(FileModesAgree, AnalyzeMeterFileAndTheFileSourceGiveOneLoudnessAndOneTruePeak)
{
    for (const Layout &layout : layouts) {
        SCOPED_TRACE(layout.name);
        const std::string path = dir.filePath(QString::fromLatin1(layout.name)).toStdString();
        const auto channels = static_cast<int>(layout.gains.size());
        PinkishNoise noise(layout.gains);
        ASSERT_TRUE(writeTestFile(path, layout.sampleRate, channels,
                                  static_cast<std::size_t>(fileSeconds * layout.sampleRate), std::ref(noise),
                                  layout.format, layout.channelMap));

        const FileAnalysis analysis = FileAnalyzer::analyze(path);
        ASSERT_TRUE(analysis.integratedLufs) << analysis.error;
        const double truePeak = *analysis::maxPeakDecibels(analysis.truePeaks);

        MeterValues offline;
        std::string error;
        ASSERT_TRUE(meterFile(path, offline, error)) << error;
        EXPECT_NEAR(offline.integratedLUFS, *analysis.integratedLufs, 0.05) << "meter-file";
        EXPECT_NEAR(std::max(offline.truePeakLeft, offline.truePeakRight), truePeak, 0.05) << "meter-file";

        endCount = 0;
        ASSERT_TRUE(control->startFileSource(QString::fromStdString(path), AtFileEnd::stop, 1000.0));
        ASSERT_TRUE(waitUntil([&] { return endCount > 0; }, 10s));
        const std::shared_ptr<LoudnessMeter> &meter = engine.loudnessMeter();
        ASSERT_TRUE(meter);
        EXPECT_EQ(meter->channels(), channels) << "every channel of the file is measured";
        EXPECT_EQ(control->activeCaptureBackend()->channelCount(), std::min(channels, 2)) << "the bars get the fold";
        EXPECT_FLOAT_EQ(engine.currentSampleRate(), static_cast<float>(layout.sampleRate));
        const LoudnessValues live = meter->read();
        EXPECT_NEAR(live.integrated, *analysis.integratedLufs, 0.05) << "file source";
        EXPECT_NEAR(std::max(live.truePeakLeft, live.truePeakRight), truePeak, 0.05) << "file source";
        control->stopFileSource();
    }
}

TEST_F(FileModesAgree, AFileCutShortIsMeasuredAsFarAsItGoesAndCalledCutShortByAnalyzeAndMeterFile)
{
    const std::string path = dir.filePath(QStringLiteral("cut.wav")).toStdString();
    PinkishNoise noise({0.3f, 0.3f});
    ASSERT_TRUE(writeTestFile(path, 48000, 2, 48000 * 2, std::ref(noise), SF_FORMAT_WAV | SF_FORMAT_PCM_16));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);

    const FileAnalysis analysis = FileAnalyzer::analyze(path);
    ASSERT_NE(analysis.error.find("cut short"), std::string::npos) << analysis.error;
    MeterValues offline;
    std::string error;
    EXPECT_FALSE(meterFile(path, offline, error));
    EXPECT_EQ(error, analysis.error);
    ASSERT_TRUE(analysis.integratedLufs);
    EXPECT_NEAR(offline.integratedLUFS, *analysis.integratedLufs, 0.05) << "the reports cover the part read";
}

} // namespace
