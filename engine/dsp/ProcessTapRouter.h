#pragma once

#include "engine/dsp/SpinLock.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

class CaptureBlockProcessor;

// One buffer of one tap cycle, as the platform hands it over: interleaved 32-bit
// float samples of `channels` channels.
struct TapBuffer {
    const float *data = nullptr; // nullptr: the buffer carries no data
    std::uint32_t channels = 0;  // interleaved channels (1 = mono)
    std::uint32_t byteSize = 0;  // bytes at data
};

// A snapshot of what the tap saw in its latest cycle, for the settings window.
struct ProcessTapDiagnostics {
    int bufferCount = 0;                             // buffers in the last cycle
    std::array<std::uint32_t, 4> channelsPerBuffer{}; // of the first 4 buffers
    std::array<std::uint32_t, 4> bytesPerBuffer{};    // of the first 4 buffers
    int readBufferIndex = -1;                        // buffer chosen; -1 = none yet
    float rawPeakL = 0.0f;                           // linear peak of the chosen pair after gain
    float rawPeakR = 0.0f;
    float gain = 3.0f;                               // mixdown gain in force (linear)
    bool deterministic = true;                       // tapping the stream's own channels

    // "2ch det buf [0] idx", "2ch/1ch mix 3.0x buf [1] idx"
    std::string line1() const;
    // "raw 0.10/0.25"
    std::string line2() const;
    // "-20.0/-12.0 dBFS", "-inf" for a zero peak
    std::string line3() const;
};

// What a calibration concluded: the gain to use from now on and the text to show.
struct MixdownCalibration {
    bool succeeded = false;
    float gain = 0.0f;   // linear, within minCalibratedGain ... maxCalibratedGain when succeeded
    std::string message; // shown to the user either way
};

inline constexpr float minCalibratedGain = 0.5f;
inline constexpr float maxCalibratedGain = 12.0f;
inline constexpr float minCalibrationPeak = 0.002f; // linear; quieter is "no signal"

// The gain that makes a reference of `expectedPeakDb` read correctly, from the raw
// peak measured after `currentGain` (the larger of both channels, linear).
MixdownCalibration calibrateMixdownGain(float rawPeak, float expectedPeakDb, float currentGain);

// The automatic mixdown gain for an output of `outputChannels` channels: half of them,
// integer-divided (2 -> 1.0, 3 -> 1.0, 6 -> 3.0, 8 -> 4.0).
float automaticMixdownGain(int outputChannels);

// The process tap's block path, between the platform's buffers and the shared block
// processor: choose the buffer to read among those delivered and its stereo pair, have
// it raised by the mixdown gain when tapping a mixdown, and record diagnostics. The
// block processor de-interleaves, folds and measures the whole cycle, however long.
//
// Threads: processAudioCallback() on the tap's audio thread; the setters and
// readDiagnostics() on the main thread. The enabled flag, gain and mode are atomics;
// the diagnostics are copied under their own spin lock, which the audio side only
// tries (a cycle that finds it held leaves the diagnostics as they were); no
// allocation on the audio side.
class ProcessTapRouter {
public:
    static constexpr std::size_t peakScanSamples = 512; // samples looked at to choose a buffer

    explicit ProcessTapRouter(CaptureBlockProcessor &processor);

    // --- main thread ---
    // The callback works only while enabled (initially off). Cleared before the
    // platform objects go, so no cycle runs against them.
    void setEnabled(bool enabled) { enabledFlag_.store(enabled ? 1 : 0, std::memory_order_release); }
    bool isEnabled() const { return enabledFlag_.load(std::memory_order_acquire) != 0; }
    void setMixdownGain(float gain) { mixdownGain_.store(gain, std::memory_order_relaxed); }
    float mixdownGain() const { return mixdownGain_.load(std::memory_order_relaxed); }
    void setDeterministic(bool deterministic) { deterministic_.store(deterministic, std::memory_order_relaxed); }
    bool isDeterministic() const { return deterministic_.load(std::memory_order_relaxed); }
    ProcessTapDiagnostics readDiagnostics() const;

    // --- audio thread ---
    void processAudioCallback(std::span<const TapBuffer> buffers) noexcept;

private:
    static int chooseBuffer(std::span<const TapBuffer> buffers) noexcept;
    // Hands the chosen buffer (and, for mono buffers, its partner) to the processor.
    void processChosen(std::span<const TapBuffer> buffers, std::size_t index, float gain) noexcept;
    void recordLayout(std::span<const TapBuffer> buffers) noexcept;

    CaptureBlockProcessor &processor_;              // levels, loudness, spectrum, scope
    std::atomic<int> enabledFlag_{0};               // non-zero: cycles are processed
    std::atomic<float> mixdownGain_{3.0f};          // linear gain of the mixdown tap
    std::atomic<bool> deterministic_{true};         // tapping the stream's own channels

    mutable SpinLock diagLock_;                     // guards diag_
    ProcessTapDiagnostics diag_;                    // latest cycle
};
