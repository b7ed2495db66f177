#pragma once

#include "engine/dsp/AudioCaptureBackend.h"
#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/FileBlockReader.h"
#include "engine/dsp/LoudnessMeterSlot.h"

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

// Blocks read from an audio file through FileBlockReader, as the file source reads them:
// the block processor gets the stereo pair (more channels folded), the loudness meter
// set here every channel with the file's roles. Buffers are sized at open, so feeding
// allocates nothing.
class FileCaptureBackend final : public InProcessCaptureBackend {
public:
    // nullptr and a message in `error` when the file cannot be opened or has no audio.
    static std::unique_ptr<FileCaptureBackend> open(const std::string &path, std::size_t maxBlockFrames,
                                                    std::string &error,
                                                    const CaptureBlockProcessor::Config &config = {});

    std::size_t feedBlock(std::size_t maxFrames) override;
    // Frames the file announces.
    std::size_t frameCount() const { return static_cast<std::size_t>(reader_->frameCount()); }
    // How each of the file's channels counts in loudness: the meter set below has one
    // channel per role.
    const std::vector<int> &loudnessChannelRoles() const { return reader_->channelRoles(); }
    // The meter fed with all of the file's channels (the processor feeds none).
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) { meter_.set(std::move(meter)); }
    // Why the file was read only in part so far, or empty.
    std::string readError() const { return reader_->error(); }

private:
    FileCaptureBackend(std::unique_ptr<FileBlockReader> reader, const CaptureBlockProcessor::Config &config);

    std::unique_ptr<FileBlockReader> reader_; // the open file
    LoudnessMeterSlot meter_;                 // loudness of every channel
};
