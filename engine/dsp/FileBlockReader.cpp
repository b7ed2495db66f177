#include "engine/dsp/FileBlockReader.h"

#include <sndfile.h>

#include <algorithm>

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

} // namespace

std::unique_ptr<FileBlockReader> FileBlockReader::open(const std::string &path, std::size_t maxBlockFrames,
                                                       std::string &error)
{
    auto file = std::make_unique<AudioFileReader>(path);
    if (!file->isOpen()) {
        error = file->error();
        return nullptr;
    }
    if (file->declaredFrames() < 1) {
        error = "the file holds no audio";
        return nullptr;
    }
    return std::unique_ptr<FileBlockReader>(
        new FileBlockReader(std::move(file), std::max<std::size_t>(maxBlockFrames, 1)));
}

FileBlockReader::FileBlockReader(std::unique_ptr<AudioFileReader> file, std::size_t maxBlockFrames)
    : file_(std::move(file)),
      sampleRate_(file_->sampleRate()),
      fileChannels_(static_cast<std::size_t>(file_->channels())),
      frameCount_(file_->declaredFrames()),
      maxBlockFrames_(maxBlockFrames),
      interleaved_(maxBlockFrames * fileChannels_),
      stereo_(fileChannels_ > 2 ? maxBlockFrames * 2 : 0),
      left_(maxBlockFrames),
      right_(maxBlockFrames)
{
    if (fileChannels_ > 2) {
        std::vector<std::string> positions;
        for (const int position : file_->channelPositions()) positions.push_back(positionName(position));
        downmix_.emplace(positions);
        downmixGain_ = static_cast<float>(fileChannels_) / 2.0f;
    }
}

FileBlockReader::~FileBlockReader() = default;

void FileBlockReader::rewind() { file_->rewind(); }

std::size_t FileBlockReader::read(std::size_t frames, AtFileEnd atEnd)
{
    frames = std::min(frames, maxBlockFrames_);
    std::size_t filled = readFrames(0, frames);
    // A loop continues with the first frames in the same block: no gap at the seam.
    while (atEnd == AtFileEnd::loop && filled < frames) {
        if (!file_->rewind()) break;
        const std::size_t more = readFrames(filled, frames - filled);
        if (more == 0) break; // unreadable after the seek: give up rather than spin
        filled += more;
    }
    return filled;
}

std::size_t FileBlockReader::readFrames(std::size_t offset, std::size_t frames)
{
    float *stored = interleaved_.data() + offset * fileChannels_;
    const std::size_t count = file_->read(stored, frames);
    float *left = left_.data() + offset;
    float *right = right_.data() + offset;
    if (fileChannels_ == 1) {
        std::copy_n(stored, count, left);
    } else if (fileChannels_ == 2) {
        for (std::size_t i = 0; i < count; ++i) {
            left[i] = stored[2 * i];
            right[i] = stored[2 * i + 1];
        }
    } else {
        downmix_->process(stored, count, stereo_.data());
        for (std::size_t i = 0; i < count; ++i) {
            left[i] = stereo_[2 * i] * downmixGain_;
            right[i] = stereo_[2 * i + 1] * downmixGain_;
        }
    }
    return count;
}
