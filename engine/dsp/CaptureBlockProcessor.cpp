#include "engine/dsp/CaptureBlockProcessor.h"

#include "engine/dsp/LevelDetection.h"

#include <algorithm>
#include <mutex>
#include <span>
#include <utility>

static_assert(std::atomic<double>::is_always_lock_free);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

CaptureBlockProcessor::CaptureBlockProcessor() : CaptureBlockProcessor(Config{}) {}

CaptureBlockProcessor::CaptureBlockProcessor(const Config &config)
    : config_(config),
      sampleRate_(config.sampleRate),
      lissajousStore_(config.lissajousStore),
      leftScratch_(std::max<std::size_t>(config.maxBlockFrames, 1)),
      rightScratch_(leftScratch_.size()),
      monoScratch_(leftScratch_.size()),
      testSignal_(config.sampleRate)
{
    if (config.spectrumWork == SpectrumWork::bandsOnAudioThread) {
        analyzer_ = std::make_unique<SpectrumAnalyzer>();
        analysisFrame_.resize(SpectrumAnalyzer::fftSize);
    }
}

CaptureBlockProcessor::~CaptureBlockProcessor() = default;

void CaptureBlockProcessor::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    {
        std::lock_guard guard(meterLock_);
        meter_.swap(meter);
    }
    // `meter` now holds the previous meter, released here on the main thread.
}

void CaptureBlockProcessor::setProcessingEnabled(bool enabled)
{
    processingEnabled_.store(enabled, std::memory_order_relaxed);
}

void CaptureBlockProcessor::setSampleRate(double sampleRate)
{
    sampleRate_.store(sampleRate, std::memory_order_relaxed);
}

double CaptureBlockProcessor::sampleRate() const { return sampleRate_.load(std::memory_order_relaxed); }

std::uint64_t CaptureBlockProcessor::blockCount() const { return blockCount_.load(std::memory_order_relaxed); }

void CaptureBlockProcessor::resetLevels()
{
    std::lock_guard guard(levelsLock_);
    levels_ = AudioLevels{};
}

AudioLevels CaptureBlockProcessor::readLevels()
{
    std::lock_guard guard(levelsLock_);
    return levels_;
}

std::optional<std::size_t> CaptureBlockProcessor::readFFTSamples(float *dest, std::size_t maxCount)
{
    return spectrumSamples_.read(dest, maxCount);
}

std::vector<LissajousPoint> CaptureBlockProcessor::readLissajousSamples() { return lissajousStore_.take(); }

void CaptureBlockProcessor::applySpectralSettings(const SpectralSettings &settings)
{
    std::lock_guard guard(settingsLock_);
    requestedSettings_ = settings;
}

bool CaptureBlockProcessor::takeSpectralBands(std::vector<float> &bands)
{
    std::size_t count = 0;
    {
        std::lock_guard guard(bandsLock_);
        count = std::exchange(pendingBandCount_, 0);
        std::copy_n(pendingBands_.begin(), count, takenBands_.begin());
    }
    if (count == 0) return false;
    bands.assign(takenBands_.begin(), takenBands_.begin() + static_cast<std::ptrdiff_t>(count));
    return true;
}

void CaptureBlockProcessor::processPlanar(const float *left, const float *right, std::size_t frameCount)
{
    blockCount_.fetch_add(1, std::memory_order_relaxed);
    if (!beginBlock() || left == nullptr) return;

    const std::size_t piece = leftScratch_.size();
    std::size_t offset = 0;
    do {
        const std::size_t frames = std::min(piece, frameCount - offset);
        processPiece(left + offset, right != nullptr ? right + offset : nullptr, frames);
        offset += frames;
    } while (offset < frameCount);
}

void CaptureBlockProcessor::processInterleaved(const float *samples, std::size_t frameCount, std::size_t channels)
{
    blockCount_.fetch_add(1, std::memory_order_relaxed);
    if (!beginBlock() || samples == nullptr || channels == 0) return;

    const std::size_t piece = leftScratch_.size();
    float *right = channels >= 2 ? rightScratch_.data() : nullptr;
    std::size_t offset = 0;
    do {
        const std::size_t frames = std::min(piece, frameCount - offset);
        const float *frame = samples + offset * channels;
        for (std::size_t i = 0; i < frames; ++i) leftScratch_[i] = frame[i * channels];
        if (right != nullptr) {
            for (std::size_t i = 0; i < frames; ++i) right[i] = frame[i * channels + 1];
        }
        processPiece(leftScratch_.data(), right, frames);
        offset += frames;
    } while (offset < frameCount);
}

bool CaptureBlockProcessor::beginBlock()
{
    if (!processingEnabled_.load(std::memory_order_relaxed)) return false;
    // A settings update in progress is picked up by the next block instead of waited for.
    if (settingsLock_.try_lock()) {
        settings_ = requestedSettings_;
        settingsLock_.unlock();
    }
    return true;
}

void CaptureBlockProcessor::processPiece(const float *left, const float *right, std::size_t frameCount)
{
    if (settings_.testSignalActive) {
        // Everything below then sees the generated signal instead of the input.
        testSignal_.setSampleRate(sampleRate_.load(std::memory_order_relaxed));
        float *generatedRight = right != nullptr ? rightScratch_.data() : nullptr;
        testSignal_.generateTestSignal(leftScratch_.data(), generatedRight, frameCount);
        left = leftScratch_.data();
        right = generatedRight;
    }

    storeLevels(left, right, frameCount);
    feedLoudness(left, right, frameCount);
    if (settings_.spectralEnabled) handOverSpectrum(left, right, frameCount);
    if (settings_.lissajousEnabled) {
        const std::size_t count = selectLissajousPoints(left, right, frameCount, pointScratch_);
        lissajousStore_.store(std::span(pointScratch_).first(count), settings_.lissajousTrailLength);
    }
}

void CaptureBlockProcessor::storeLevels(const float *left, const float *right, std::size_t frameCount)
{
    ChannelLevels l = calculateLevels(left, frameCount);
    ChannelLevels r = right != nullptr ? calculateLevels(right, frameCount) : l;
    if (config_.levelRounding == LevelRounding::tenthDb) {
        for (ChannelLevels *channel : {&l, &r}) {
            channel->peak = roundToTenthDb(channel->peak);
            channel->rms = roundToTenthDb(channel->rms);
        }
    }
    std::lock_guard guard(levelsLock_);
    levels_ = {l.peak, r.peak, l.rms, r.rms};
}

void CaptureBlockProcessor::feedLoudness(const float *left, const float *right, std::size_t frameCount)
{
    if (frameCount == 0) return;
    // Only the setter ever holds meterLock_, and only to swap the pointer; it never
    // takes the meter's own lock, so pinning the meter while feeding it cannot deadlock.
    if (!meterLock_.try_lock()) return;
    if (meter_) meter_->addFrames(left, right, frameCount);
    meterLock_.unlock();
}

void CaptureBlockProcessor::handOverSpectrum(const float *left, const float *right, std::size_t frameCount)
{
    const float *mono = left;
    if (right != nullptr) {
        for (std::size_t i = 0; i < frameCount; ++i) monoScratch_[i] = (left[i] + right[i]) * 0.5f;
        mono = monoScratch_.data();
    }
    spectrumSamples_.push(mono, frameCount);
    if (analyzer_) analyseWindow();
}

void CaptureBlockProcessor::analyseWindow()
{
    // Nobody else reads the window in this mode, so taking it here costs one copy.
    const std::optional<std::size_t> count = spectrumSamples_.read(analysisFrame_.data(), analysisFrame_.size());
    if (!count || *count < SpectrumAnalyzer::fftSize) return;

    const SpectrumParams params{
        .sampleRate = static_cast<float>(sampleRate_.load(std::memory_order_relaxed)),
        .minFreq = settings_.minFreq,
        .maxFreq = settings_.maxFreq,
        .minAmp = settings_.minAmp,
        .maxAmp = settings_.maxAmp,
        .calibrationOffset = settings_.calibrationOffset,
        .bandCount = std::clamp(settings_.bandCount, 1, octave_resolution::maxBandCount),
    };
    const auto bands = std::span(bandScratch_).first(static_cast<std::size_t>(params.bandCount));
    analyzer_->analyze(analysisFrame_.data(), params, bands);

    std::lock_guard guard(bandsLock_);
    std::copy(bands.begin(), bands.end(), pendingBands_.begin());
    pendingBandCount_ = bands.size();
}
