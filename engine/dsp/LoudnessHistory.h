#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

// The loudness of the last hour, sampled ten times a second on the display tick, for the
// history panel and the loudness report. A fixed ring of compact samples: memory does
// not grow with how long the program runs (one hour is 36,000 samples of 10 bytes).
//
// Main thread only: the tick writes it, the views and the report read it.
class LoudnessHistory {
public:
    static constexpr double sampleIntervalSeconds = 0.1;
    static constexpr std::size_t samplesPerMinute = 600;
    static constexpr std::size_t defaultCapacity = 60 * samplesPerMinute; // one hour
    // Values at or below this are "no value" (nothing measured yet, or silence).
    static constexpr double noValueLufs = -70.0;
    // A tick this late repeats the current values into the slots it missed; a longer
    // pause (no window on screen, so no ticks) leaves gaps instead of made-up values.
    static constexpr double longestBridgedPauseSeconds = 0.5;

    // What the tick reads from the loudness meter: LUFS, true peak in dBTP (the larger
    // channel, held over the measurement); <= -70 = no value.
    struct Input {
        double momentary = noValueLufs;
        double shortTerm = noValueLufs;
        double integrated = noValueLufs;
        double truePeak = noValueLufs;
    };

    // One stored sample, values in hundredths of a LU/dB; noValue marks a gap.
    struct Sample {
        static constexpr std::int16_t noValue = INT16_MIN;
        std::int16_t momentary = noValue;
        std::int16_t shortTerm = noValue;
        std::int16_t integrated = noValue;
        std::int16_t truePeak = noValue;
        bool startsMeasurement = false; // first sample of a new measurement: draw a break

        // Decoded value (LUFS, dBTP), nullopt for a gap.
        static std::optional<double> decode(std::int16_t centi)
        {
            if (centi == noValue) return std::nullopt;
            return centi / 100.0;
        }
        static std::int16_t encode(double value);
    };

    // Maxima and time span of the current measurement, from unrounded values. Kept apart
    // from the ring, so a measurement longer than the ring still reports its true maxima.
    struct Summary {
        double startSeconds = 0.0;         // clock time of its first sample
        double endSeconds = 0.0;           // clock time of its latest sample
        double maxMomentary = noValueLufs; // LUFS
        double maxShortTerm = noValueLufs; // LUFS
        double maxTruePeak = noValueLufs;  // dBTP
        Input latest;                      // the values of the latest sample
        std::uint64_t sampleCount = 0;     // samples taken since it began, gaps included
    };

    explicit LoudnessHistory(std::size_t capacity = defaultCapacity);

    // The next sample starts a new measurement (capture restarted: the integrated value
    // starts over). Resetting the peak display does not call this.
    void markMeasurementStart();

    // Called on every display tick with the tick time (s, monotonic) and the current
    // values. Takes a sample in every 100 ms slot that has passed since the previous one
    // (see longestBridgedPauseSeconds); never more than the ring holds.
    void advance(double nowSeconds, const Input &values);

    // Forgets everything (a new session of the program, or tests).
    void clear();

    std::size_t capacity() const { return samples_.size(); }
    std::size_t size() const { return count_; }
    bool isEmpty() const { return count_ == 0; }
    // Samples ever taken: the index the next sample will have. Views align their columns
    // to it so the picture does not shimmer as it scrolls.
    std::uint64_t totalSamples() const { return total_; }
    // Sample by its running index (totalSamples() - size() .. totalSamples() - 1).
    const Sample &at(std::uint64_t index) const { return samples_[index % samples_.size()]; }
    // Index of the oldest sample still held.
    std::uint64_t firstIndex() const { return total_ - count_; }
    // Clock time (s) of the latest sample; meaningful once one was taken.
    double latestSampleSeconds() const { return latestSeconds_; }

    // The current measurement; nullopt until a sample was taken since it began.
    const std::optional<Summary> &summary() const { return summary_; }

    // Changes whenever samples are replaced rather than appended (clear, load) and differs
    // between histories made apart: lets a view keep what it computed from the samples.
    std::uint64_t generation() const { return generation_; }

    // Replaces the content with recorded samples, oldest first (saved states, pictures).
    void load(const std::vector<Sample> &samples, double latestSeconds);

private:
    void push(const Sample &sample);
    void record(double slotSeconds, const Input &values);
    void pushGap();

    std::vector<Sample> samples_;          // the ring, capacity entries
    std::size_t count_ = 0;                // samples held, <= capacity
    std::uint64_t total_ = 0;              // samples ever taken
    std::optional<double> originSeconds_;  // clock time of slot 0; none before the first sample
    std::uint64_t nextSlot_ = 0;           // slot the next sample is due in
    double latestSeconds_ = 0.0;           // clock time of the latest sample
    bool measurementStartPending_ = true;  // the next real sample begins a measurement
    std::optional<Summary> summary_;       // the current measurement
    std::uint64_t generation_;             // see generation()
};
