#pragma once

#include "engine/dsp/AudioFileReader.h"
#include "engine/dsp/StereoDownmix.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What a file source does when it reaches the end of the file.
enum class AtFileEnd {
    loop, // start again from the first frame, without a gap
    stop, // deliver the last frames and then nothing more
};

// Reads an audio file (anything libsndfile reads, through AudioFileReader) block by block
// twice over: as the file holds it (frames(): every channel, for the loudness meter with
// the file's channel roles) and as the meters' stereo pair for bars, spectrum and scope:
// mono stays one channel (the block handling feeds it to both meters), stereo passes
// through, and more channels are folded to stereo by StereoDownmix, each channel to its
// side by its position (the file's channel map, else its container's default order),
// then raised by N/2, the gain the process tap's automatic mixdown uses, so that one
// full-scale front channel still reads full scale.
//
// Every buffer is sized at open: read() allocates nothing. It is not real-time safe in
// the strict sense (it decodes and may wait on the disk), so a file source calls it ahead
// of the block's time, never inside an audio callback. One thread at a time.
class FileBlockReader {
public:
    // nullptr and a message in `error` when the file cannot be opened or holds no audio.
    // maxBlockFrames: the largest block read() fills (frames, at least 1).
    static std::unique_ptr<FileBlockReader> open(const std::string &path, std::size_t maxBlockFrames,
                                                 std::string &error);
    ~FileBlockReader();
    FileBlockReader(const FileBlockReader &) = delete;
    FileBlockReader &operator=(const FileBlockReader &) = delete;

    double sampleRate() const { return sampleRate_; }          // Hz, the file's own rate
    std::size_t fileChannels() const { return fileChannels_; } // channels stored in the file
    std::size_t channels() const { return fileChannels_ == 1 ? 1 : 2; } // delivered: 1 or 2
    std::int64_t frameCount() const { return frameCount_; }    // frames in the file
    std::int64_t position() const { return file_->framesRead(); } // next frame to read, 0..frameCount
    std::size_t maxBlockFrames() const { return maxBlockFrames_; }
    // How each of the file's channels counts in loudness (libebur128 roles).
    const std::vector<int> &channelRoles() const { return file_->channelRoles(); }
    // Why the file was read only in part so far, or empty (see AudioFileReader::error).
    std::string error() const { return file_->error(); }

    // Reads the next block of at most min(frames, maxBlockFrames()) frames into frames(),
    // left() and right(). With AtFileEnd::loop the block wraps around to the first frame and is
    // always full; with stop it is shorter at the end and 0 after it (and on a read error).
    std::size_t read(std::size_t frames, AtFileEnd atEnd);
    // Back to the first frame.
    void rewind();

    // The block as stored: fileChannels() interleaved samples per frame.
    const float *frames() const { return interleaved_.data(); }
    const float *left() const { return left_.data(); }
    // nullptr for a mono file.
    const float *right() const { return channels() == 2 ? right_.data() : nullptr; }

private:
    FileBlockReader(std::unique_ptr<AudioFileReader> file, std::size_t maxBlockFrames);
    // Reads up to `frames` file frames into the planar buffers at `offset`; frames read.
    std::size_t readFrames(std::size_t offset, std::size_t frames);

    std::unique_ptr<AudioFileReader> file_;   // the open file
    double sampleRate_;                       // Hz
    std::size_t fileChannels_;                // channels in the file
    std::int64_t frameCount_;                 // frames in the file
    std::size_t maxBlockFrames_;              // frames per read() at most
    std::optional<StereoDownmix> downmix_;    // only for more than two channels
    float downmixGain_ = 1.0f;                // linear, applied after the fold
    std::vector<float> interleaved_;          // one block as stored, maxBlockFrames * fileChannels
    std::vector<float> stereo_;               // one folded block, maxBlockFrames * 2
    std::vector<float> left_;                 // delivered left (or mono), maxBlockFrames
    std::vector<float> right_;                // delivered right, maxBlockFrames
};
