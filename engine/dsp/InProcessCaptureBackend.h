#pragma once

#include "engine/dsp/AudioCaptureBackend.h"
#include "engine/dsp/CaptureBlockProcessor.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A capture back-end whose blocks come from this process (memory or a file) instead of
// an audio server, pushed by the caller one block at a time through the same block
// handling as the live back-ends. For the meter-file command, tests and benchmarks.
class InProcessCaptureBackend : public AudioCaptureBackend {
public:
    InProcessCaptureBackend(std::size_t channels, double sampleRate, const CaptureBlockProcessor::Config &config);

    // Feeds the next block of at most maxFrames frames; returns the frames fed, 0 at the end.
    virtual std::size_t feedBlock(std::size_t maxFrames) = 0;

    std::size_t channels() const { return channels_; }
    double sampleRate() const { return sampleRate_; }
    CaptureBlockProcessor &processor() { return processor_; }

    AudioLevels readLevels() override { return processor_.readLevels(); }
    std::optional<std::size_t> readFFTSamples(float *dest, std::size_t maxCount) override
    {
        return processor_.readFFTSamples(dest, maxCount);
    }
    std::vector<LissajousPoint> readLissajousSamples() override { return processor_.readLissajousSamples(); }

private:
    std::size_t channels_;            // interleaved channels of the source
    double sampleRate_;               // Hz
    CaptureBlockProcessor processor_; // the shared block handling
};

// Blocks cut from interleaved samples held in memory.
class MemoryCaptureBackend final : public InProcessCaptureBackend {
public:
    MemoryCaptureBackend(std::vector<float> interleaved, std::size_t channels, double sampleRate,
                         const CaptureBlockProcessor::Config &config = {});

    std::size_t feedBlock(std::size_t maxFrames) override;
    // Starts again from the first frame.
    void rewind() { position_ = 0; }

private:
    std::vector<float> samples_; // interleaved, channels() per frame
    std::size_t position_ = 0;   // next frame to feed
};

// Blocks read from an audio file with libsndfile (any format it reads, converted to
// 32-bit float). The read buffer is sized at open, so feeding allocates nothing.
class FileCaptureBackend final : public InProcessCaptureBackend {
public:
    // nullptr and a message in `error` when the file cannot be opened or has no audio.
    static std::unique_ptr<FileCaptureBackend> open(const std::string &path, std::size_t maxBlockFrames,
                                                    std::string &error,
                                                    const CaptureBlockProcessor::Config &config = {});
    ~FileCaptureBackend() override;

    std::size_t feedBlock(std::size_t maxFrames) override;
    // Frames in the file.
    std::size_t frameCount() const { return frameCount_; }

private:
    struct SndfileHandle;
    FileCaptureBackend(std::unique_ptr<SndfileHandle> file, std::size_t channels, double sampleRate,
                       std::size_t frameCount, std::size_t maxBlockFrames, const CaptureBlockProcessor::Config &config);

    std::unique_ptr<SndfileHandle> file_; // the open file
    std::size_t frameCount_;              // frames in the file
    std::vector<float> buffer_;           // one interleaved block, maxBlockFrames frames
};
