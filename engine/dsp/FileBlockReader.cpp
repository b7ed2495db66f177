#include "engine/dsp/FileBlockReader.h"

#include <sndfile.h>

#include <algorithm>
#include <array>

namespace {

// Short position names as StereoDownmix knows them, by libsndfile channel-map value.
std::string positionName(int channel)
{
    switch (channel) {
    case SF_CHANNEL_MAP_LEFT:
    case SF_CHANNEL_MAP_FRONT_LEFT: return "FL";
    case SF_CHANNEL_MAP_RIGHT:
    case SF_CHANNEL_MAP_FRONT_RIGHT: return "FR";
    case SF_CHANNEL_MAP_REAR_LEFT: return "RL";
    case SF_CHANNEL_MAP_REAR_RIGHT: return "RR";
    case SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER: return "FLC";
    case SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER: return "FRC";
    case SF_CHANNEL_MAP_SIDE_LEFT: return "SL";
    case SF_CHANNEL_MAP_SIDE_RIGHT: return "SR";
    case SF_CHANNEL_MAP_TOP_FRONT_LEFT: return "TFL";
    case SF_CHANNEL_MAP_TOP_FRONT_RIGHT: return "TFR";
    case SF_CHANNEL_MAP_TOP_REAR_LEFT: return "TRL";
    case SF_CHANNEL_MAP_TOP_REAR_RIGHT: return "TRR";
    case SF_CHANNEL_MAP_LFE: return "LFE";
    default: return "FC"; // centre, mono and anything without a side: both sides
    }
}

// Most multichannel files carry no map; they are then in the WAV channel-mask order.
std::vector<std::string> channelPositions(SNDFILE *file, std::size_t channels)
{
    static constexpr std::array<const char *, 8> waveOrder = {"FL", "FR", "FC", "LFE", "RL", "RR", "SL", "SR"};
    std::vector<int> map(channels, SF_CHANNEL_MAP_INVALID);
    const bool mapped = sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(),
                                   static_cast<int>(map.size() * sizeof(int))) == SF_TRUE;
    std::vector<std::string> positions;
    for (std::size_t c = 0; c < channels; ++c) {
        if (mapped && map[c] != SF_CHANNEL_MAP_INVALID) positions.push_back(positionName(map[c]));
        else positions.emplace_back(c < waveOrder.size() ? waveOrder[c] : "FC");
    }
    return positions;
}

} // namespace

struct FileBlockReader::Handle {
    SNDFILE *file = nullptr;
    ~Handle()
    {
        if (file != nullptr) sf_close(file);
    }
};

std::unique_ptr<FileBlockReader> FileBlockReader::open(const std::string &path, std::size_t maxBlockFrames,
                                                       std::string &error)
{
    SF_INFO info{};
    auto handle = std::make_unique<Handle>();
    handle->file = sf_open(path.c_str(), SFM_READ, &info);
    if (handle->file == nullptr) {
        error = sf_strerror(nullptr);
        return nullptr;
    }
    if (info.channels < 1 || info.samplerate < 1 || info.frames < 1) {
        error = "the file holds no audio";
        return nullptr;
    }
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<std::string> positions;
    if (channels > 2) positions = channelPositions(handle->file, channels);
    return std::unique_ptr<FileBlockReader>(new FileBlockReader(std::move(handle), info.samplerate, channels,
                                                                info.frames, std::max<std::size_t>(maxBlockFrames, 1),
                                                                std::move(positions)));
}

FileBlockReader::FileBlockReader(std::unique_ptr<Handle> file, double sampleRate, std::size_t fileChannels,
                                 std::int64_t frameCount, std::size_t maxBlockFrames,
                                 std::vector<std::string> positions)
    : file_(std::move(file)),
      sampleRate_(sampleRate),
      fileChannels_(fileChannels),
      frameCount_(frameCount),
      maxBlockFrames_(maxBlockFrames),
      interleaved_(maxBlockFrames * fileChannels),
      stereo_(fileChannels > 2 ? maxBlockFrames * 2 : 0),
      left_(maxBlockFrames),
      right_(maxBlockFrames)
{
    if (!positions.empty()) {
        downmix_.emplace(positions);
        downmixGain_ = static_cast<float>(fileChannels) / 2.0f;
    }
}

FileBlockReader::~FileBlockReader() = default;

void FileBlockReader::rewind()
{
    sf_seek(file_->file, 0, SEEK_SET);
    position_ = 0;
}

std::size_t FileBlockReader::read(std::size_t frames, AtFileEnd atEnd)
{
    frames = std::min(frames, maxBlockFrames_);
    std::size_t filled = readFrames(0, frames);
    // A loop continues with the first frames in the same block: no gap at the seam.
    while (atEnd == AtFileEnd::loop && filled < frames) {
        rewind();
        const std::size_t more = readFrames(filled, frames - filled);
        if (more == 0) break; // unreadable after the seek: give up rather than spin
        filled += more;
    }
    return filled;
}

std::size_t FileBlockReader::readFrames(std::size_t offset, std::size_t frames)
{
    const sf_count_t got = sf_readf_float(file_->file, interleaved_.data(), static_cast<sf_count_t>(frames));
    if (got <= 0) return 0;
    const auto count = static_cast<std::size_t>(got);
    position_ += got;
    float *left = left_.data() + offset;
    float *right = right_.data() + offset;
    if (fileChannels_ == 1) {
        std::copy_n(interleaved_.data(), count, left);
    } else if (fileChannels_ == 2) {
        for (std::size_t i = 0; i < count; ++i) {
            left[i] = interleaved_[2 * i];
            right[i] = interleaved_[2 * i + 1];
        }
    } else {
        downmix_->process(interleaved_.data(), count, stereo_.data());
        for (std::size_t i = 0; i < count; ++i) {
            left[i] = stereo_[2 * i] * downmixGain_;
            right[i] = stereo_[2 * i + 1] * downmixGain_;
        }
    }
    return count;
}
