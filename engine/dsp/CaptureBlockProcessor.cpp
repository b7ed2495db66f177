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
      leftScratch_(std::max<std::size_t>(config.pieceFrames, 1)),
      rightScratch_(leftScratch_.size()),
      monoScratch_(leftScratch_.size()),
      testSignal_(config.sampleRate)
{
    if (!config.foldPositions.empty()) {
        fold_.emplace(config.foldPositions);
        foldScratch_.resize(2 * leftScratch_.size());
    }
    if (config.spectrumWork == SpectrumWork::bandsOnAudioThread) {
        analyzer_ = std::make_unique<SpectrumAnalyzer>();
        analysisFrame_.resize(SpectrumAnalyzer::fftSize);
    }
}

CaptureBlockProcessor::~CaptureBlockProcessor() = default;

void CaptureBlockProcessor::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) { meter_.set(std::move(meter)); }

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
    silencedAt_.store(levels_.writeCount(), std::memory_order_relaxed);
}

AudioLevels CaptureBlockProcessor::readLevels()
{
    const std::uint32_t silencedAt = silencedAt_.load(std::memory_order_relaxed);
    const AudioLevels levels = levels_.read();
    // A block stored after the reset counts again.
    if (silencedAt != 0 && levels_.writeCount() == silencedAt) return AudioLevels{};
    return levels;
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

void CaptureBlockProcessor::processPlanar(const float *left, const float *right, std::size_t frameCount, float gain)
{
    blockCount_.fetch_add(1, std::memory_order_relaxed);
    if (left == nullptr || !beginBlock(right == nullptr)) return;

    const std::size_t piece = leftScratch_.size();
    for (std::size_t offset = 0; offset < frameCount; offset += piece) {
        const std::size_t frames = std::min(piece, frameCount - offset);
        const float *l = left + offset;
        const float *r = right != nullptr ? right + offset : nullptr;
        if (gain != 1.0f) {
            std::transform(l, l + frames, leftScratch_.begin(), [gain](float x) { return x * gain; });
            l = leftScratch_.data();
            if (r != nullptr) {
                std::transform(r, r + frames, rightScratch_.begin(), [gain](float x) { return x * gain; });
                r = rightScratch_.data();
            }
        }
        processPiece(l, r, frames);
    }
    endBlock();
}

void CaptureBlockProcessor::processInterleaved(const float *samples, std::size_t frameCount, std::size_t channels,
                                               float gain)
{
    blockCount_.fetch_add(1, std::memory_order_relaxed);
    if (samples == nullptr || channels == 0 || !beginBlock(channels == 1)) return;

    const bool folded = fold_ && channels == fold_->channelCount();
    const std::size_t piece = leftScratch_.size();
    float *right = channels >= 2 ? rightScratch_.data() : nullptr;
    for (std::size_t offset = 0; offset < frameCount; offset += piece) {
        const std::size_t frames = std::min(piece, frameCount - offset);
        const float *frame = samples + offset * channels;
        std::size_t stride = channels;
        if (folded) {
            fold_->process(frame, frames, foldScratch_.data());
            frame = foldScratch_.data();
            stride = 2;
        }
        for (std::size_t i = 0; i < frames; ++i) leftScratch_[i] = frame[i * stride] * gain;
        if (right != nullptr) {
            for (std::size_t i = 0; i < frames; ++i) right[i] = frame[i * stride + 1] * gain;
        }
        processPiece(leftScratch_.data(), right, frames);
    }
    endBlock();
}

bool CaptureBlockProcessor::beginBlock(bool mono)
{
    if (!processingEnabled_.load(std::memory_order_relaxed)) return false;
    // A settings update in progress is picked up by the next block instead of waited for.
    if (settingsLock_.try_lock()) {
        settings_ = requestedSettings_;
        settingsLock_.unlock();
    }
    leftLevels_.reset();
    rightLevels_.reset();
    monoBlock_ = mono;
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

    leftLevels_.add(left, frameCount);
    if (right != nullptr) rightLevels_.add(right, frameCount);
    meter_.feed(left, right, frameCount);
    if (settings_.spectralEnabled) handOverSpectrum(left, right, frameCount);
    if (settings_.lissajousEnabled) {
        const std::size_t count = selectLissajousPoints(left, right, frameCount, pointScratch_);
        lissajousStore_.store(std::span(pointScratch_).first(count), settings_.lissajousTrailLength);
    }
}

void CaptureBlockProcessor::endBlock()
{
    storeLevels();
    if (analyzer_ && settings_.spectralEnabled) analyseWindow();
}

void CaptureBlockProcessor::storeLevels()
{
    ChannelLevels l = leftLevels_.levels();
    ChannelLevels r = monoBlock_ ? l : rightLevels_.levels();
    if (config_.levelRounding == LevelRounding::tenthDb) {
        for (ChannelLevels *channel : {&l, &r}) {
            channel->peak = roundToTenthDb(channel->peak);
            channel->rms = roundToTenthDb(channel->rms);
        }
    }
    levels_.write({l.peak, r.peak, l.rms, r.rms});
}

void CaptureBlockProcessor::handOverSpectrum(const float *left, const float *right, std::size_t frameCount)
{
    const float *mono = left;
    if (right != nullptr) {
        for (std::size_t i = 0; i < frameCount; ++i) monoScratch_[i] = (left[i] + right[i]) * 0.5f;
        mono = monoScratch_.data();
    }
    spectrumSamples_.push(mono, frameCount);
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

    // While the tick copies the previous bands, these are left for the next block's.
    if (!bandsLock_.try_lock()) return;
    std::copy(bands.begin(), bands.end(), pendingBands_.begin());
    pendingBandCount_ = bands.size();
    bandsLock_.unlock();
}
