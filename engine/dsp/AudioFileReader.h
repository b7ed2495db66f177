#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

typedef struct sf_private_tag SNDFILE;

// One audio file opened with libsndfile, read front to back as interleaved float
// frames (full scale 1.0, as libsndfile converts every sample format). Every mode that
// reads a file (analyze, meter-file, the file source) reads it through this class, so
// they agree on what a damaged file is and on how each channel counts in loudness.
//
// After the constructor nothing allocates: read() and rewind() may run on a thread that
// must not allocate (the file source's feeding thread). One thread at a time.
class AudioFileReader {
public:
    // Opens the file; on failure isOpen() is false and error() says why.
    explicit AudioFileReader(const std::string &path);
    ~AudioFileReader();
    AudioFileReader(const AudioFileReader &) = delete;
    AudioFileReader &operator=(const AudioFileReader &) = delete;

    bool isOpen() const { return file_ != nullptr; }
    // Why the file cannot be opened, or (while open) why it is read only in part: its
    // header announces more audio than it holds, a block could not be decoded, or the
    // audio ended before the frames the header announces. Empty while all is well.
    std::string error() const;

    int sampleRate() const { return sampleRate_; }        // Hz
    int channels() const { return channels_; }
    // Frames the header announces. Formats that cannot know their length announce a huge
    // count; hasKnownLength() tells them apart.
    std::int64_t declaredFrames() const { return declaredFrames_; }
    bool hasKnownLength() const;
    // Frames read since the start of the file (rewind() goes back to 0).
    std::int64_t framesRead() const { return framesRead_; }
    // Where each channel sits (SF_CHANNEL_MAP_* values): the file's own channel map where
    // it has one, else the default order of its container (WAVE, or Vorbis for Ogg).
    const std::vector<int> &channelPositions() const { return positions_; }
    // How each channel counts in loudness (libebur128 roles), from those positions.
    const std::vector<int> &channelRoles() const { return roles_; }

    // Reads up to maxFrames frames into `frames` (channels() samples each); returns how
    // many, 0 at the end. A decoding error ends the file early and sets error().
    std::size_t read(float *frames, std::size_t maxFrames);
    // Back to the first frame; false when the file cannot seek.
    bool rewind();

private:
    SNDFILE *file_ = nullptr;
    std::string openError_;            // why the file did not open
    bool cutShort_ = false;            // the header announces more than the file holds
    int decodingError_ = 0;            // libsndfile error code of the first failed read, or 0
    std::int64_t endedEarlyAt_ = -1;   // frames read when the audio ended before its announced length
    int sampleRate_ = 0;
    int channels_ = 0;
    std::int64_t declaredFrames_ = 0;
    std::int64_t framesRead_ = 0;
    std::vector<int> positions_;
    std::vector<int> roles_;
};
