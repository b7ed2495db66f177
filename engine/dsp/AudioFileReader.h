#pragma once

#include <ebur128.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

typedef struct sf_private_tag SNDFILE;

// One audio file opened with libsndfile, read front to back as interleaved float
// frames (full scale 1.0, as libsndfile converts every sample format).
class AudioFileReader {
public:
    // Opens the file; on failure isOpen() is false and error() says why.
    explicit AudioFileReader(const std::string &path);
    ~AudioFileReader();
    AudioFileReader(const AudioFileReader &) = delete;
    AudioFileReader &operator=(const AudioFileReader &) = delete;

    bool isOpen() const { return file_ != nullptr; }
    // Why the file cannot be opened, or (while open) why it is read only in part.
    const std::string &error() const { return error_; }

    int sampleRate() const { return sampleRate_; }        // Hz
    int channels() const { return channels_; }
    std::int64_t declaredFrames() const { return declaredFrames_; } // frames the header announces
    std::int64_t framesRead() const { return framesRead_; }
    // How each channel counts in loudness: the file's own channel map where it has one,
    // else the default order of its container.
    const std::vector<int> &channelRoles() const { return roles_; }

    // Reads up to maxFrames frames into `frames` (channels() samples each); returns how
    // many, 0 at the end. A decoding error ends the file early and sets error().
    std::size_t read(float *frames, std::size_t maxFrames);

private:
    SNDFILE *file_ = nullptr;
    std::string error_;
    int sampleRate_ = 0;
    int channels_ = 0;
    std::int64_t declaredFrames_ = 0;
    std::int64_t framesRead_ = 0;
    std::vector<int> roles_;
};
