#pragma once

#include "engine/dsp/FrameRing.h"
#include "engine/dsp/LoudnessMeasurement.h"
#include "engine/dsp/LoudnessValues.h"
#include "engine/dsp/SeqLock.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// EBU R128 / ITU-R BS.1770 loudness of a stream: momentary, short-term, integrated,
// loudness range and true peak (LoudnessMeasurement does the measuring and documents
// its exactness). One instance is one measurement from construction on; a new
// measurement is a new instance.
//
// Two ways to feed it:
//   - Feeding::inlined: every addFrames()/addInterleaved() is measured before it returns.
//     Deterministic; for offline metering of files, tools and tests.
//   - Feeding::meteringThread: for live capture. The feeding (audio) thread only copies
//     frames into a lock-free ring holding more than a second of audio; a thread owned
//     by the meter wakes on its own every 25 ms, measures what is there and publishes.
//     The audio thread never signals, waits for or locks anything. Frames that find the
//     ring full are counted in droppedFrames() and left out of the measurement.
// Either way read() takes no lock the feeder takes (a sequence lock: the measuring side
// never waits for a reader), and nothing is allocated after construction.
class LoudnessMeter {
public:
    enum class Feeding { inlined, meteringThread };
    struct Options {
        Feeding feeding = Feeding::inlined;
        // The stream was already playing when metering began (live capture), so its first
        // sample is no step up from silence: true peak is not allowed to ring on it.
        bool startsMidSignal = false;
    };

    // channels and sampleRate (Hz) must not be negative: throws std::invalid_argument
    // otherwise, and when channelRoles is neither empty (libebur128's default roles) nor
    // one libebur128 `enum channel` value per channel. Values libebur128 refuses (0
    // channels, an unsupported rate or role) give a meter that ignores its input and
    // reads the initial values.
    LoudnessMeter(int channels, int sampleRate);
    LoudnessMeter(int channels, int sampleRate, std::vector<int> channelRoles, Options options);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter &) = delete;
    LoudnessMeter &operator=(const LoudnessMeter &) = delete;

    // The feeding thread (one at a time). left: frameCount samples, for channel 0;
    // right: frameCount samples for channel 1, or nullptr to use the left samples there
    // too. Further channels get silence (feed a multichannel source with addInterleaved).
    // Any frameCount; every frame is measured.
    void addFrames(const float *left, const float *right, std::size_t frameCount);
    // The feeding thread: frameCount frames of channels() samples each.
    void addInterleaved(const float *frames, std::size_t frameCount);

    // Any thread: the latest published values.
    LoudnessValues read() const { return published_.read(); }

    // Returns once everything added before the call is measured and published, with the
    // integrated loudness and range brought up to that point (they are otherwise
    // recomputed every 500 ms of audio): for the end of a file, or a test. Inlined: on the
    // feeding thread; with a metering thread: any thread but the feeding one.
    void flush();

    // Frames refused by a full ring (meteringThread only).
    std::uint64_t droppedFrames() const { return dropped_.load(std::memory_order_relaxed); }

    int channels() const { return channels_; }
    Feeding feeding() const { return feeding_; }
    // False when libebur128 refused the channel count, sample rate or roles.
    bool isMeasuring() const { return measurement_->isMeasuring(); }

private:
    // Frames interleaved per piece by addFrames() when inlined.
    static constexpr std::size_t pieceFrames = 1024;

    void measure(const float *frames, std::size_t frameCount);
    void runMeteringThread();
    void drainRing();

    const int channels_;
    const Feeding feeding_;
    std::unique_ptr<LoudnessMeasurement> measurement_; // touched by the measuring side only
    std::vector<float> piece_;           // inlined addFrames(): one interleaved piece
    std::unique_ptr<FrameRing> ring_;    // meteringThread: audio thread -> metering thread
    std::atomic<std::uint64_t> dropped_{0};
    SeqLock<LoudnessValues> published_; // written by the measuring side, read by anyone

    // The metering thread's sleep and the flush hand-shake; never taken by the feeder.
    std::mutex wakeLock_;
    std::condition_variable wake_;    // stop or flush wanted
    std::condition_variable drained_; // a drain finished
    bool stopping_ = false;
    std::uint64_t flushesWanted_ = 0; // flush() calls so far
    std::uint64_t flushesDone_ = 0;   // of those, answered by the metering thread
    std::thread meteringThread_;
};
