#include "engine/MeterFileSession.h"

#include "engine/AudioEngine.h"
#include "engine/dsp/InProcessCaptureBackend.h"
#include "engine/dsp/LoudnessMeter.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace {

constexpr double ticksPerSecond = 60.0;
// The simulated clock starts here rather than at 0: a tick at time 0 would count as
// "no previous tick" for every tick that follows.
constexpr double clockOrigin = 1.0;

void appendNumber(std::string &json, const char *key, double value)
{
    // Keep "-0.000" out of the output for values that round to zero.
    if (std::fabs(value) < 0.0005) value = 0.0;
    char text[64];
    std::snprintf(text, sizeof text, ",\"%s\":%.3f", key, value);
    json += text;
}

} // namespace

std::string meterReportJson(double t, const MeterValues &values)
{
    std::string json;
    char text[64];
    std::snprintf(text, sizeof text, "{\"t\":%.3f", t);
    json += text;
    appendNumber(json, "peakLevelLeft", values.peakLevelLeft);
    appendNumber(json, "peakLevelRight", values.peakLevelRight);
    appendNumber(json, "rmsLevelLeft", values.rmsLevelLeft);
    appendNumber(json, "rmsLevelRight", values.rmsLevelRight);
    appendNumber(json, "maxPeakLeft", values.maxPeakLeft);
    appendNumber(json, "maxPeakRight", values.maxPeakRight);
    appendNumber(json, "momentaryLUFS", values.momentaryLUFS);
    appendNumber(json, "shortTermLUFS", values.shortTermLUFS);
    appendNumber(json, "integratedLUFS", values.integratedLUFS);
    appendNumber(json, "loudnessRange", values.loudnessRange);
    appendNumber(json, "truePeakLeft", values.truePeakLeft);
    appendNumber(json, "truePeakRight", values.truePeakRight);
    std::snprintf(text, sizeof text, ",\"bands\":%zu}", values.spectralBands.size());
    json += text;
    return json;
}

bool runMeterFile(const MeterFileOptions &options, const MeterFileReport &report, std::string &error)
{
    if (!(options.reportInterval > 0.0) || !std::isfinite(options.reportInterval)) {
        error = "the report interval must be a positive number of seconds";
        return false;
    }
    const std::size_t blockFrames = std::max<std::size_t>(options.blockFrames, 1);
    CaptureBlockProcessor::Config config;
    std::shared_ptr<FileCaptureBackend> backend = FileCaptureBackend::open(options.path, blockFrames, error, config);
    if (!backend) return false;

    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    settings.setShowSpectralMeter(true);
    settings.setShowLissajousMeter(true);
    settings.setShowLUFSMeter(true);
    const std::string_view ballistics = meter_ballistics::rawValue(options.ballistics);
    settings.setMeterBallisticsModeString(QString::fromUtf8(ballistics.data(), static_cast<qsizetype>(ballistics.size())));
    if (options.resolution) {
        const std::string_view resolution = octave_resolution::rawValue(*options.resolution);
        settings.setSpectralOctaveResolutionString(
            QString::fromUtf8(resolution.data(), static_cast<qsizetype>(resolution.size())));
    }

    const double sampleRate = backend->sampleRate();
    // Loudness of every channel with its BS.1770 weight; the bars see the stereo fold.
    const std::vector<int> &roles = backend->loudnessChannelRoles();
    const auto meter = std::make_shared<LoudnessMeter>(static_cast<int>(roles.size()), static_cast<int>(sampleRate),
                                                       roles, LoudnessMeter::Options{});
    backend->setLoudnessMeter(meter);

    double now = clockOrigin;
    AudioEngine engine(settings, AudioEngine::TickSource::external, [&now] { return now; });
    engine.setCurrentSampleRate(static_cast<float>(sampleRate));
    // A tick before any audio, so that every tick on audio measures dt = 1/60.
    engine.updateDisplayValues();
    engine.setActiveBackend(backend);
    engine.setLoudnessMeter(meter);

    const double duration = static_cast<double>(backend->frameCount()) / sampleRate;
    long long tick = 0;           // index of the latest tick; tick k runs at k/60 s of audio
    long long reportsMade = 0;    // periodic reports so far
    const auto tickUpTo = [&](double audioSeconds) {
        while (static_cast<double>(tick + 1) / ticksPerSecond <= audioSeconds) {
            ++tick;
            const double t = static_cast<double>(tick) / ticksPerSecond;
            now = clockOrigin + t;
            engine.updateDisplayValues();
            const double nextReport = static_cast<double>(reportsMade + 1) * options.reportInterval;
            if (t + 1e-9 >= nextReport && t < duration) {
                report(t, engine.meterData().values());
                reportsMade = static_cast<long long>(std::floor((t + 1e-9) / options.reportInterval));
            }
        }
    };

    std::size_t framesFed = 0;
    for (;;) {
        // Each tick sees the audio that has arrived by its time.
        tickUpTo(static_cast<double>(framesFed) / sampleRate);
        const std::size_t frames = backend->feedBlock(blockFrames);
        if (frames == 0) break;
        framesFed += frames;
    }
    // One more tick on the grid at or after the end sees the last block.
    tickUpTo(std::ceil(duration * ticksPerSecond) / ticksPerSecond);
    // The last report is the whole file's loudness as measured, not as last published:
    // the engine publishes a loudness change only once it exceeds 0.1 LU.
    MeterValues last = engine.meterData().values();
    meter->flush();
    last.setLoudness(meter->read());
    report(duration, last);
    // The reports cover what could be read; a damaged file still fails the run.
    error = backend->readError();
    return error.empty();
}
