#pragma once

#include "engine/dsp/AudioCaptureBackend.h"
#include "engine/dsp/AudioLevels.h"
#include "engine/dsp/LevelDetection.h"
#include "engine/dsp/LissajousSelection.h"
#include "engine/dsp/LoudnessMeter.h"
#include "engine/dsp/LoudnessMeterSlot.h"
#include "engine/dsp/OctaveResolution.h"
#include "engine/dsp/SpectralSettingsSink.h"
#include "engine/dsp/SpectrumAnalyzer.h"
#include "engine/dsp/SeqLock.h"
#include "engine/dsp/SpectrumSampleStore.h"
#include "engine/dsp/SpinLock.h"
#include "engine/dsp/StereoDownmix.h"
#include "engine/dsp/TestSignal.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Everything a capture back-end does with one block of samples on its audio thread,
// whatever delivered the block: levels, loudness feed, spectrum samples (optionally the
// finished bands), phase-scope points. It also answers the display tick's reads.
//
// Blocks of any length are measured whole. The audio server decides the block size
// (a forced quantum of 8192 frames or more is ordinary on power-saving set-ups), and the
// buffers here are fixed so that the audio thread never grows one: a block longer than
// Config::pieceFrames passes through them in consecutive pieces, and the levels are
// those of the whole block. This is the only place a block is split.
//
// Threads: processPlanar()/processInterleaved() on one audio thread at a time; every
// other call on the main thread. The block path allocates nothing, never logs and never
// waits for the main thread: levels go out through a sequence lock, spectrum samples
// through a lock-free ring, and the other hand-overs only try their lock and leave that
// block's update out when the main thread holds it.
class CaptureBlockProcessor final : public AudioCaptureBackend, public SpectralSettingsSink {
public:
    enum class SpectrumWork {
        samplesOnly,        // hand samples to the engine, which analyses them each tick
        bandsOnAudioThread, // analyse every block here; the engine takes the bands
    };
    enum class LevelRounding {
        none,
        tenthDb, // detected levels rounded to 0.1 dB (the process-tap read-out)
    };

    struct Config {
        // Frames that pass through the scratch buffers at once; longer blocks are
        // handled in consecutive pieces of this size, and still measured whole.
        std::size_t pieceFrames = 4096;
        // Channel positions ("FL", "FR", "FC", ...) of interleaved blocks that are folded
        // to the stereo pair (StereoDownmix) rather than read from their first two
        // channels; only blocks with exactly this many channels are folded. Empty: none.
        std::vector<std::string> foldPositions;
        LissajousStore::Kind lissajousStore = LissajousStore::Kind::latestBlock;
        SpectrumWork spectrumWork = SpectrumWork::samplesOnly;
        LevelRounding levelRounding = LevelRounding::none;
        double sampleRate = 48000.0; // Hz, until setSampleRate()
    };

    CaptureBlockProcessor();
    explicit CaptureBlockProcessor(const Config &config);
    ~CaptureBlockProcessor() override;
    CaptureBlockProcessor(const CaptureBlockProcessor &) = delete;
    CaptureBlockProcessor &operator=(const CaptureBlockProcessor &) = delete;

    // --- main thread ---

    // Attaches the loudness measurement fed from now on (nullptr detaches); see
    // LoudnessMeterSlot for how the audio thread and this setter share it. The old meter
    // is released here, not on the audio thread.
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter);
    // Blocks are processed only while enabled (initially true); others are only counted.
    void setProcessingEnabled(bool enabled);
    // Hz; any thread. Used by the test signal and the band mapping.
    void setSampleRate(double sampleRate);
    double sampleRate() const;
    // Blocks delivered so far, processed or not.
    std::uint64_t blockCount() const;
    // The source stopped delivering (a stalled or stopped player): the levels read as
    // silence until the next block.
    void resetLevels();

    // AudioCaptureBackend
    AudioLevels readLevels() override;
    std::optional<std::size_t> readFFTSamples(float *dest, std::size_t maxCount) override;
    std::vector<LissajousPoint> readLissajousSamples() override;

    // SpectralSettingsSink. Initially everything is collected (spectrum and phase scope
    // on) with the engine's default analysis settings.
    void applySpectralSettings(const SpectralSettings &settings) override;
    bool takeSpectralBands(std::vector<float> &bands) override;

    // --- audio thread ---

    // left/right: frameCount samples each; right == nullptr for a mono source. The
    // samples are multiplied by `gain` (linear) before anything is measured.
    void processPlanar(const float *left, const float *right, std::size_t frameCount, float gain = 1.0f);
    // channels interleaved samples per frame; channel 0 is left, channel 1 right, the
    // rest are ignored (unless Config::foldPositions folds them); one channel is mono.
    void processInterleaved(const float *samples, std::size_t frameCount, std::size_t channels,
                            float gain = 1.0f);
    // Largest magnitude of each side in the latest block, linear, after gain and fold
    // (right equals left for mono). Audio thread only.
    float latestPeakLeft() const { return leftLevels_.peak(); }
    float latestPeakRight() const { return monoBlock_ ? leftLevels_.peak() : rightLevels_.peak(); }

private:
    // Counts nothing; false when processing is off. Picks up the latest settings.
    bool beginBlock(bool mono);
    void processPiece(const float *left, const float *right, std::size_t frameCount);
    void endBlock();
    void storeLevels();
    void handOverSpectrum(const float *left, const float *right, std::size_t frameCount);
    void analyseWindow();

    const Config config_;                          // as constructed

    // Shared with the main thread.
    std::atomic<bool> processingEnabled_{true};    // process blocks at all
    std::atomic<double> sampleRate_;               // Hz
    std::atomic<std::uint64_t> blockCount_{0};     // blocks delivered

    SpinLock settingsLock_;                        // guards requestedSettings_
    SpectralSettings requestedSettings_;           // latest settings from the tick

    SeqLock<AudioLevels> levels_;                  // levels of the latest block, dBFS
    std::atomic<std::uint32_t> silencedAt_{0};     // levels_.writeCount() when resetLevels() ran

    LoudnessMeterSlot meter_;                      // loudness measurement or none

    SpectrumSampleStore spectrumSamples_;          // newest mono samples for the spectrum
    LissajousStore lissajousStore_;                // pending phase-scope points

    SpinLock bandsLock_;                           // guards pendingBands_, pendingBandCount_
    std::array<float, octave_resolution::maxBandCount> pendingBands_{}; // dB, not yet taken
    std::size_t pendingBandCount_ = 0;             // 0: nothing new since the last take

    // Audio thread only; all sized in the constructor.
    SpectralSettings settings_;                    // copy of requestedSettings_ for this block
    LevelAccumulator leftLevels_;                  // the block so far, left (or mono)
    LevelAccumulator rightLevels_;                 // the block so far, right
    bool monoBlock_ = false;                       // the block has no right channel
    std::optional<StereoDownmix> fold_;            // for Config::foldPositions
    std::vector<float> foldScratch_;               // one folded piece, interleaved stereo
    std::vector<float> leftScratch_;               // de-interleaved / scaled / test-signal left, pieceFrames
    std::vector<float> rightScratch_;              // same, right
    std::vector<float> monoScratch_;               // (left + right) / 2, pieceFrames
    std::array<LissajousPoint, LissajousStore::maxPointsPerBlock> pointScratch_{}; // selected points
    TestSignalGenerator testSignal_;               // replaces the input while active
    std::unique_ptr<SpectrumAnalyzer> analyzer_;   // only for bandsOnAudioThread
    std::vector<float> analysisFrame_;             // fftSize samples for analyzer_
    std::array<float, octave_resolution::maxBandCount> bandScratch_{}; // analyzer_ output

    // Main thread only.
    std::array<float, octave_resolution::maxBandCount> takenBands_{}; // copied out under bandsLock_
};
