#include "engine/dsp/AudioFileReader.h"

#include "engine/dsp/ChannelWeighting.h"

#include <sndfile.h>

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
        error_ = sf_strerror(nullptr);
        return;
    }
    if (info.channels <= 0 || info.samplerate <= 0) {
        error_ = "no audio channels or no sample rate";
        sf_close(file_);
        file_ = nullptr;
        return;
    }
    sampleRate_ = info.samplerate;
    channels_ = info.channels;
    declaredFrames_ = info.frames;
    if (audioChunkCutShort(file_)) error_ = "the file is cut short: its header announces more audio than it holds";

    std::vector<int> map(static_cast<std::size_t>(channels_), SF_CHANNEL_MAP_INVALID);
    const bool hasMap = sf_command(file_, SFC_GET_CHANNEL_MAP_INFO, map.data(),
                                   static_cast<int>(map.size() * sizeof(int))) == SF_TRUE;
    if (hasMap && channels_ > 1) {
        roles_ = channel_weighting::fromChannelMap(map);
    } else if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG) {
        roles_ = channel_weighting::vorbisDefault(channels_);
    } else {
        roles_ = channel_weighting::waveDefault(channels_);
    }
}

AudioFileReader::~AudioFileReader()
{
    if (file_) sf_close(file_);
}

std::size_t AudioFileReader::read(float *frames, std::size_t maxFrames)
{
    if (!file_ || maxFrames == 0) return 0;
    const sf_count_t got = sf_readf_float(file_, frames, static_cast<sf_count_t>(maxFrames));
    if (got <= 0) {
        if (sf_error(file_) != SF_ERR_NO_ERROR && error_.empty()) error_ = sf_strerror(file_);
        return 0;
    }
    framesRead_ += got;
    return static_cast<std::size_t>(got);
}
