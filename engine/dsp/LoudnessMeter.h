#pragma once

#include "engine/dsp/SpinLock.h"

#include <ebur128.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

// The loudness figures shown to the user, cached after each fed block.
// Loudness in LUFS, range in LU, true peaks in dBTP; -70.0 means "no value yet".
struct LoudnessValues {
    double momentary = -70.0;
    double shortTerm = -70.0;
    double integrated = -70.0;
    double loudnessRange = 0.0;
    double truePeakLeft = -70.0;
    double truePeakRight = -70.0;

    friend bool operator==(const LoudnessValues &, const LoudnessValues &) = default;
};

// EBU R128 / ITU-R BS.1770 loudness of the captured stream, measured by libebur128.
// One instance is one measurement: integrated loudness, range and true peak run from
// construction on; a new measurement is a new instance.
//
// addFrames() runs on the audio thread, read() on the main thread. One spin lock
// guards the whole state: the feeder holds it for the whole call, the reader only
// long enough to copy the six cached values.
class LoudnessMeter {
public:
    // Largest number of frames measured from one block; the rest of a longer block is
    // skipped so the interleave buffer never has to grow on the audio thread.
    static constexpr std::size_t maxFrames = 4096;

    // channels and sampleRate (Hz, truncated by the caller) must not be negative:
    // throws std::invalid_argument otherwise. Values libebur128 refuses (0 channels,
    // an unsupported rate) give a meter that ignores its input and reads the initial
    // values. Allocates everything the audio thread will need.
    LoudnessMeter(int channels, int sampleRate);

    // Who feeds the meter: the caller's own thread measuring each block before it returns
    // (files, tests), or a live source's audio thread.
    enum class Feeding { inlined, meteringThread };
    struct Options {
        Feeding feeding = Feeding::inlined;
        bool startsMidSignal = false; // the first block comes from a signal already playing
    };
    // channelRoles: libebur128 channel roles (enum channel values), one per channel, as
    // ChannelWeighting gives them; empty keeps the library's defaults. This version
    // measures every block inline whatever the options say.
    LoudnessMeter(int channels, int sampleRate, std::vector<int> channelRoles, Options options);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter &) = delete;
    LoudnessMeter &operator=(const LoudnessMeter &) = delete;

    // Audio thread. left: frameCount samples; right: frameCount samples or nullptr.
    // A two-channel meter given both channels interleaves them; otherwise the left
    // samples are handed over as they are, so a two-channel meter fed only a left
    // channel reads them as interleaved pairs (open a one-channel meter for a mono
    // source). Only the first maxFrames frames of a block are measured.
    void addFrames(const float *left, const float *right, std::size_t frameCount);
    // Feeding thread: frameCount frames of channels() interleaved samples, any count;
    // longer blocks are measured in pieces of maxFrames. With more than two channels
    // truePeakLeft and truePeakRight both read the largest true peak of all channels.
    void addInterleaved(const float *frames, std::size_t frameCount);

    // Main thread: the values cached by the latest addFrames().
    LoudnessValues read() const;

    // Any thread. While nobody reads the values (no meter on screen), the per-block
    // queries are skipped and only the measurement itself runs; the first block after
    // they are wanted again refreshes every value, so what is read then is what would
    // have been read had they never stopped. Initially wanted.
    void setQueriesWanted(bool wanted) { queriesWanted_.store(wanted, std::memory_order_relaxed); }

    int channels() const { return channels_; }
    // False when libebur128 refused the channel count or sample rate.
    bool isMeasuring() const { return state_.handle != nullptr; }

private:
    struct MeterState {
        ebur128_state *handle = nullptr;   // the measurement; null if libebur128 refused it
        std::vector<float> interleaveBuffer; // channels x maxFrames samples handed to the library
        LoudnessValues cachedValues;         // results after the latest block
        std::int64_t addFramesCount = 0;     // blocks fed so far
        bool refreshAll = false;             // queries were skipped: refresh everything next time
        int channels = 0;                    // channel count of the measurement
    };

    void updateCachedValues();
    void updateSlowValues();

    const int channels_;      // channel count as constructed; readable without the lock
    mutable SpinLock lock_;   // guards state_
    std::atomic<bool> queriesWanted_{true}; // the cached values are read: query per block
    MeterState state_;        // everything the audio thread touches
};
