#include "engine/AudioEngine.h"

#include "engine/DisplayLink.h"
#include "engine/dsp/BandSmoothing.h"
#include "engine/dsp/CatmullRomSpline.h"
#include "engine/dsp/LevelDetection.h"
#include "engine/dsp/LissajousSelection.h"
#include "engine/dsp/OctaveResolution.h"
#include "settings/AppSettings.h"

#include <QtGlobal>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <mutex>

namespace {

// Smallest change worth a repaint: levels in dB, loudness in LU/LUFS/dB.
constexpr float levelPublishThresholdDb = 0.01f;
constexpr double loudnessPublishThreshold = 0.1;
// The spline draws this many curve points per span between two bands.
constexpr int splineSegments = 4;
// dt of the very first tick, when there is no previous tick to measure from.
constexpr float firstTickDt = 0.016f;

// The trail length setting is a double; anything that does not truncate to a 64-bit
// integer is a programming error upstream, not a user choice to recover from.
std::int64_t trailLengthFromSetting(double value)
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(value) || value >= limit || value < -limit) {
        qFatal("lissajousTrailLength %f cannot be represented as an integer", value);
    }
    return static_cast<std::int64_t>(value);
}

} // namespace

struct AudioEngine::TickInputs {
    MeterBallistics mode = MeterBallistics::digitalPeak;
    double holdTime = 0.0;                // s
};

AudioEngine::Clock AudioEngine::steadyClock()
{
    return [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
}

AudioEngine::AudioEngine(AppSettings &settings, TickSource tickSource, Clock clock, QObject *parent)
    : QObject(parent),
      settings_(settings),
      clock_(std::move(clock)),
      tickSource_(tickSource),
      displaySpectralBands_(meterData_.values().spectralBands),
      analyzer_(std::make_unique<SpectrumAnalyzer>()),
      fftSamples_(SpectrumAnalyzer::fftSize)
{
    // Reserved once so that filling these under spectralLock_ never allocates.
    rawSpectralData_.reserve(octave_resolution::maxBandCount);
    rawBandsScratch_.reserve(octave_resolution::maxBandCount);
    analyzedBands_.reserve(octave_resolution::maxBandCount);
    if (tickSource == TickSource::displayLink) startDisplayLink();
}

AudioEngine::~AudioEngine() = default;

void AudioEngine::startDisplayLink()
{
    displayLink_ = std::make_unique<DisplayLink>(refreshRate_ > 0.0 ? refreshRate_ : DisplayLink::defaultRefreshRate,
                                                 [this] { updateDisplayValues(); });
}

void AudioEngine::setActiveBackend(std::shared_ptr<AudioCaptureBackend> backend)
{
    activeBackend_ = std::move(backend);
}

void AudioEngine::setTestSignalEnabled(bool enabled)
{
    if (testSignalEnabled_ == enabled) return;
    testSignalEnabled_ = enabled;
    emit testSignalEnabledChanged(enabled);
}

void AudioEngine::setErrorMessage(const QString &message)
{
    if (errorMessage_ == message) return;
    errorMessage_ = message;
    emit errorMessageChanged(message);
}

void AudioEngine::setMeterDecayRate(double rate)
{
    if (meterDecayRate_ == rate) return;
    meterDecayRate_ = rate;
    emit meterDecayRateChanged(rate);
}

void AudioEngine::setDisplayRefreshRate(double refreshRate)
{
    refreshRate_ = refreshRate;
    if (displayLink_) displayLink_->setRefreshRate(refreshRate);
}

void AudioEngine::setInputDeviceBackend(std::shared_ptr<SpectralSettingsSink> backend)
{
    inputDeviceBackend_ = std::move(backend);
    // A back-end started while nothing is on screen need not analyse for the screen.
    if (inputDeviceBackend_ && !displayActive_) pushSpectralSettings();
}

void AudioEngine::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    // A new meter is a new measurement (the integrated value starts over): the history
    // draws a break there. The same meter handed over again changes nothing.
    if (meter && meter != loudnessMeter_) loudnessHistory_.markMeasurementStart();
    loudnessMeter_ = std::move(meter);
}

void AudioEngine::setDisplayActive(bool active)
{
    if (active == displayActive_) return;
    displayActive_ = active;
    if (tickSource_ == TickSource::displayLink) {
        if (active)
            startDisplayLink();
        else
            displayLink_.reset();
    }
    if (inputDeviceBackend_) pushSpectralSettings();
}

void AudioEngine::updateDisplayValues()
{
    // 1. Time step: whatever the display and the coalescing gave, never a fixed rate.
    const double now = clock_();
    const float dt = lastUpdateTime_ <= 0.0 ? firstTickDt : static_cast<float>(now - lastUpdateTime_);
    lastUpdateTime_ = now;

    // 2-3. Settings, read every tick so a change shows at the next frame.
    TickInputs inputs;
    pullSettings(inputs);
    if (inputDeviceBackend_) pushSpectralSettings();

    // 4-5. Levels of the latest block, then the capture layer's silence watch.
    const AudioLevels levels = activeBackend_ ? activeBackend_->readLevels() : AudioLevels{};
    if (levelsObserver_) levelsObserver_(levels, now);

    // 6-7. Ballistics and peak hold share one fall step.
    const float decay = advanceBallistics(display_, levels, inputs.mode, static_cast<float>(meterDecayRate_), dt);
    advancePeakHold(maxPeakLeft_, display_.peakLeft, now, inputs.holdTime, decay);
    advancePeakHold(maxPeakRight_, display_.peakRight, now, inputs.holdTime, decay);

    // 8-11.
    publishLevels();
    publishLoudness();
    sampleLoudnessHistory(now);
    if (spectralEnabled_) updateSpectrum(decay);
    updateLissajous();

    meterData_.flush();
}

void AudioEngine::resetPeaks()
{
    const double now = clock_();
    maxPeakLeft_ = {levelFloorDb, now};
    maxPeakRight_ = {levelFloorDb, now};
    meterData_.assign(MeterField::MaxPeakLeft, &MeterValues::maxPeakLeft, levelFloorDb);
    meterData_.assign(MeterField::MaxPeakRight, &MeterValues::maxPeakRight, levelFloorDb);
    meterData_.flush();
}

void AudioEngine::pullSettings(TickInputs &inputs)
{
    spectralEnabled_ = settings_.showSpectralMeter();
    spectralMinFreq_ = static_cast<float>(settings_.spectralMinFrequency());
    spectralMaxFreq_ = static_cast<float>(settings_.spectralMaxFrequency());
    spectralMinAmp_ = static_cast<float>(settings_.spectralMinAmplitude());
    spectralMaxAmp_ = static_cast<float>(settings_.spectralMaxAmplitude());
    spectralCalibrationOffset_ = static_cast<float>(settings_.spectralCalibrationOffset());
    const OctaveResolution resolution =
        octave_resolution::fromRawValueOrDefault(settings_.spectralOctaveResolutionString().toStdString());
    spectralBandCount_ = octave_resolution::bandCount(resolution);
    lissajousEnabled_ = settings_.showLissajousMeter();
    lissajousTrailLength_ = trailLengthFromSetting(settings_.lissajousTrailLength());

    inputs.mode = meter_ballistics::fromRawValueOrDefault(settings_.meterBallisticsModeString().toStdString());
    inputs.holdTime = settings_.peakHoldTime();
}

void AudioEngine::pushSpectralSettings()
{
    inputDeviceBackend_->applySpectralSettings({
        .spectralEnabled = spectralEnabled_ && displayActive_,
        .testSignalActive = testSignalEnabled_,
        .lissajousEnabled = lissajousEnabled_ && displayActive_,
        .lissajousTrailLength = static_cast<std::size_t>(std::max<std::int64_t>(lissajousTrailLength_, 0)),
        .minFreq = spectralMinFreq_,
        .maxFreq = spectralMaxFreq_,
        .minAmp = spectralMinAmp_,
        .maxAmp = spectralMaxAmp_,
        .calibrationOffset = spectralCalibrationOffset_,
        .bandCount = spectralBandCount_,
    });
}

void AudioEngine::publishLevels()
{
    const MeterValues &published = meterData_.values();
    const auto publish = [&](MeterField field, float MeterValues::*member, float value) {
        if (std::fabs(value - published.*member) > levelPublishThresholdDb) meterData_.assign(field, member, value);
    };
    publish(MeterField::PeakLevelLeft, &MeterValues::peakLevelLeft, display_.peakLeft);
    publish(MeterField::PeakLevelRight, &MeterValues::peakLevelRight, display_.peakRight);
    publish(MeterField::RmsLevelLeft, &MeterValues::rmsLevelLeft, display_.rmsLeft);
    publish(MeterField::RmsLevelRight, &MeterValues::rmsLevelRight, display_.rmsRight);
    publish(MeterField::MaxPeakLeft, &MeterValues::maxPeakLeft, maxPeakLeft_.level);
    publish(MeterField::MaxPeakRight, &MeterValues::maxPeakRight, maxPeakRight_.level);
}

void AudioEngine::publishLoudness()
{
    if (!loudnessMeter_) return;
    const LoudnessValues loudness = loudnessMeter_->read();
    latestLoudness_ = loudness;
    const MeterValues &published = meterData_.values();
    const auto publish = [&](MeterField field, double MeterValues::*member, double value) {
        if (std::fabs(value - published.*member) > loudnessPublishThreshold) meterData_.assign(field, member, value);
    };
    publish(MeterField::MomentaryLUFS, &MeterValues::momentaryLUFS, loudness.momentary);
    publish(MeterField::ShortTermLUFS, &MeterValues::shortTermLUFS, loudness.shortTerm);
    publish(MeterField::IntegratedLUFS, &MeterValues::integratedLUFS, loudness.integrated);
    publish(MeterField::LoudnessRange, &MeterValues::loudnessRange, loudness.loudnessRange);
    publish(MeterField::TruePeakLeft, &MeterValues::truePeakLeft, loudness.truePeakLeft);
    publish(MeterField::TruePeakRight, &MeterValues::truePeakRight, loudness.truePeakRight);
}

void AudioEngine::sampleLoudnessHistory(double now)
{
    // Without a measurement the history shows a gap, not the last values seen.
    const LoudnessValues loudness = loudnessMeter_ ? latestLoudness_ : LoudnessValues{};
    loudnessHistory_.advance(now, {.momentary = loudness.momentary,
                                   .shortTerm = loudness.shortTerm,
                                   .integrated = loudness.integrated,
                                   .truePeak = std::max(loudness.truePeakLeft, loudness.truePeakRight)});
}

void AudioEngine::updateSpectrum(float decay)
{
    fetchSpectralBands();
    {
        std::lock_guard guard(spectralLock_);
        rawBandsScratch_ = rawSpectralData_;
    }
    if (rawBandsScratch_.empty()) return;

    // A new band count (another octave resolution) restarts the smoothing from the floor.
    if (displaySpectralBands_.size() != rawBandsScratch_.size()) {
        displaySpectralBands_.assign(rawBandsScratch_.size(), spectralMinAmp_);
        meterData_.assign(MeterField::SpectralBands, &MeterValues::spectralBands, displaySpectralBands_);
    }

    // Bands fall half again as fast as the level bars, so the spectrum settles quickly.
    const bool changed = smoothBands(displaySpectralBands_, rawBandsScratch_, meterData_.values().spectralBands,
                                     spectralMinAmp_, 1.5f * decay);
    if (!changed) return;
    meterData_.assign(MeterField::SpectralBands, &MeterValues::spectralBands, displaySpectralBands_);
    const std::vector<UnitPoint> controlPoints =
        spectrumControlPoints(displaySpectralBands_, spectralMinAmp_, spectralMaxAmp_);
    if (!controlPoints.empty()) {
        meterData_.assign(MeterField::SpectralSplinePoints, &MeterValues::spectralSplinePoints,
                          CatmullRomSpline::interpolate(controlPoints, splineSegments));
    }
}

void AudioEngine::fetchSpectralBands()
{
    // Without a source the last stored bands are smoothed again, so the display decays.
    if (!activeBackend_) return;
    if (!inputDeviceBackend_) {
        performFFTFromBackend();
        return;
    }
    if (!inputDeviceBackend_->takeSpectralBands(analyzedBands_)) return;
    std::lock_guard guard(spectralLock_);
    rawSpectralData_ = analyzedBands_;
}

void AudioEngine::performFFTFromBackend()
{
    const std::optional<std::size_t> count = activeBackend_->readFFTSamples(fftSamples_.data(), fftSamples_.size());
    if (!count || *count < SpectrumAnalyzer::fftSize) return;

    const SpectrumParams params{
        .sampleRate = currentSampleRate_,
        .minFreq = spectralMinFreq_,
        .maxFreq = spectralMaxFreq_,
        .minAmp = spectralMinAmp_,
        .maxAmp = spectralMaxAmp_,
        .calibrationOffset = spectralCalibrationOffset_,
        .bandCount = spectralBandCount_,
    };
    analyzedBands_.resize(static_cast<std::size_t>(spectralBandCount_));
    analyzer_->analyze(fftSamples_.data(), params, analyzedBands_);
    std::lock_guard guard(spectralLock_);
    rawSpectralData_ = analyzedBands_;
}

void AudioEngine::updateLissajous()
{
    if (!lissajousEnabled_ || !activeBackend_) return;
    const std::vector<LissajousPoint> fresh = activeBackend_->readLissajousSamples();
    // No new points: the trail stays as it is (it does not fade by itself).
    if (fresh.empty()) return;
    appendToTrail(displayLissajousPoints_, fresh, static_cast<std::size_t>(std::max<std::int64_t>(lissajousTrailLength_, 0)));
    meterData_.assign(MeterField::LissajousPoints, &MeterValues::lissajousPoints, displayLissajousPoints_);
}
