#include "engine/dsp/AudioFileReader.h"

#include "engine/dsp/ChannelWeighting.h"

#include <sndfile.h>

#include <limits>
#include <sstream>

namespace {

// libsndfile quietly shortens a WAV or AIFF whose data chunk runs past the end of the
// file to the frames present; only its log says so ("data : 768000 (should be 299956)").
bool audioChunkCutShort(SNDFILE *file)
{
    char log[8192] = {};
    sf_command(file, SFC_GET_LOG_INFO, log, sizeof log);
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const auto start = line.find_first_not_of(' ');
        if (start == std::string::npos) continue;
        const bool audioChunk = line.compare(start, 4, "data") == 0 || line.compare(start, 4, "SSND") == 0;
        if (audioChunk && line.find("(should be") != std::string::npos) return true;
    }
    return false;
}

} // namespace

AudioFileReader::AudioFileReader(const std::string &path)
{
    SF_INFO info{};
    file_ = sf_open(path.c_str(), SFM_READ, &info);
    if (!file_) {
        openError_ = sf_strerror(nullptr);
        return;
    }
    if (info.channels <= 0 || info.samplerate <= 0) {
        openError_ = "no audio channels or no sample rate";
        sf_close(file_);
        file_ = nullptr;
        return;
    }
    sampleRate_ = info.samplerate;
    channels_ = info.channels;
    declaredFrames_ = info.frames;
    cutShort_ = audioChunkCutShort(file_);

    std::vector<int> map(static_cast<std::size_t>(channels_), SF_CHANNEL_MAP_INVALID);
    const bool hasMap = channels_ > 1 && sf_command(file_, SFC_GET_CHANNEL_MAP_INFO, map.data(),
                                                    static_cast<int>(map.size() * sizeof(int))) == SF_TRUE;
    positions_ = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG ? channel_weighting::vorbisPositions(channels_)
                                                                     : channel_weighting::wavePositions(channels_);
    if (hasMap) {
        for (std::size_t c = 0; c < map.size(); ++c)
            if (map[c] != SF_CHANNEL_MAP_INVALID) positions_[c] = map[c];
    }
    roles_ = channel_weighting::fromChannelMap(positions_);
}

AudioFileReader::~AudioFileReader()
{
    if (file_) sf_close(file_);
}

bool AudioFileReader::hasKnownLength() const
{
    return declaredFrames_ < std::numeric_limits<std::int64_t>::max() / 2;
}

std::string AudioFileReader::error() const
{
    if (!file_) return openError_;
    if (cutShort_) return "the file is cut short: its header announces more audio than it holds";
    if (decodingError_ != 0) return sf_error_number(decodingError_);
    if (endedEarlyAt_ >= 0) {
        return "the file ends after " + std::to_string(endedEarlyAt_) + " of the " +
               std::to_string(declaredFrames_) + " frames its header announces";
    }
    return {};
}

std::size_t AudioFileReader::read(float *frames, std::size_t maxFrames)
{
    if (!file_ || maxFrames == 0) return 0;
    const sf_count_t got = sf_readf_float(file_, frames, static_cast<sf_count_t>(maxFrames));
    if (got <= 0) {
        const int code = sf_error(file_);
        if (code != SF_ERR_NO_ERROR && decodingError_ == 0) decodingError_ = code;
        if (framesRead_ < declaredFrames_ && hasKnownLength() && endedEarlyAt_ < 0) endedEarlyAt_ = framesRead_;
        return 0;
    }
    framesRead_ += got;
    return static_cast<std::size_t>(got);
}

bool AudioFileReader::rewind()
{
    if (!file_ || sf_seek(file_, 0, SEEK_SET) != 0) return false;
    framesRead_ = 0;
    return true;
}
